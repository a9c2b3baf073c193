#pragma once

/// What ends a command of a tool: a mistake of the user's, or a failure. Both
/// carry one sentence for the user, without a line break; texts from outside go
/// in as they are, since whoever prints it makes it safe for the terminal.

#include <glib.h>

namespace tools
{

enum ErrorCode {
	ERROR_USAGE, ///< The command line, or a file of the user's, is wrong.
	ERROR_FAILED ///< The command could not do its work.
};

GQuark error_quark();

void set_usage_error(GError **error, const char *format, ...)
	G_GNUC_PRINTF(2, 3);
void set_failure(GError **error, const char *format, ...) G_GNUC_PRINTF(2, 3);

bool is_usage_error(const GError *error);

} // namespace tools
