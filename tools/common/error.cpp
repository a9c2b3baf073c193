#include "error.h"

#include <cstdarg>

namespace tools
{

GQuark error_quark()
{
	return g_quark_from_static_string("tool-error-quark");
}

void set_usage_error(GError **error, const char *format, ...)
{
	va_list arguments;

	va_start(arguments, format);
	g_propagate_error(error, g_error_new_valist(error_quark(), ERROR_USAGE,
						    format, arguments));
	va_end(arguments);
}

void set_failure(GError **error, const char *format, ...)
{
	va_list arguments;

	va_start(arguments, format);
	g_propagate_error(error, g_error_new_valist(error_quark(), ERROR_FAILED,
						    format, arguments));
	va_end(arguments);
}

bool is_usage_error(const GError *error)
{
	return g_error_matches(error, error_quark(), ERROR_USAGE);
}

} // namespace tools
