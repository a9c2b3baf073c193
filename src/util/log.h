#pragma once

#include <glib.h>

namespace util
{

/// The first log level that GLib leaves to applications (256). Failures of
/// backends and of calls to other services are logged at it.
constexpr auto kLogLevelUser =
	static_cast<GLogLevelFlags>(1 << G_LOG_LEVEL_USER_SHIFT);

/// Writes to standard output or standard error at once, so that the text
/// keeps its place among the log lines.
void print_out(const char *format, ...) G_GNUC_PRINTF(1, 2);
void print_err(const char *format, ...) G_GNUC_PRINTF(1, 2);

} // namespace util
