#pragma once

/// What ends a command: a wrong command line, or a failure. Both carry one
/// sentence for the user; texts from outside go in as they are, since the one
/// place that prints an error makes it safe for the terminal.

#include <glib.h>

namespace orvadctl
{

enum ErrorCode {
	ERROR_USAGE, ///< The command line is wrong.
	ERROR_FAILED ///< The command could not do its work.
};

GQuark error_quark();

void set_usage_error(GError **error, const char *format, ...)
	G_GNUC_PRINTF(2, 3);
void set_failure(GError **error, const char *format, ...) G_GNUC_PRINTF(2, 3);

bool is_usage_error(const GError *error);

} // namespace orvadctl
