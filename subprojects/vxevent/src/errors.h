#pragma once

#include "vxevent.h"

namespace vxevent
{

/// Sets error (which may be null) and returns false.
bool refuse(GError **error, EventError code, const char *format, ...)
	G_GNUC_PRINTF(3, 4);

/// Whether text is there and valid UTF-8; otherwise EVENT_ERROR_INVALID with
/// role, which says in the message what the text is.
bool check_text(const char *text, const char *role, GError **error);

/// As check_text(), for a text that must not be empty either.
bool check_name(const char *text, const char *role, GError **error);

/// Whether a caller has given an object; otherwise EVENT_ERROR_INVALID.
bool check_given(const void *object, const char *role, GError **error);

} // namespace vxevent
