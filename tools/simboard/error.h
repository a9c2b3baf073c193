#pragma once

/// What ends a command: a mistake of the user's, in the command line or the
/// board file, or a failure. Both carry one sentence without a line break.

#include <glib.h>

namespace simboard
{

enum ErrorCode {
	ERROR_USAGE, ///< The command line or the board file is wrong.
	ERROR_FAILED ///< It could not be done.
};

GQuark error_quark();

void set_usage_error(GError **error, const char *format, ...)
	G_GNUC_PRINTF(2, 3);
void set_failure(GError **error, const char *format, ...) G_GNUC_PRINTF(2, 3);

bool is_usage_error(const GError *error);

/// The number of an errno's symbol ("EIO") or of its decimal text; 0 when
/// there is no such error.
int errno_from_text(const char *text);

/// An errno's symbol, such as "EIO".
const char *errno_symbol(int number);

} // namespace simboard
