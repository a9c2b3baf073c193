#include "error.h"

#include <cstdarg>
#include <cstring>
#include <string>

namespace simboard
{

namespace
{

/// Linux has no error number above it (asm-generic/errno.h).
constexpr int LAST_ERRNO = 133;

} // namespace

GQuark error_quark()
{
	return g_quark_from_static_string("simboard-error-quark");
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

int errno_from_text(const char *text)
{
	for (int known = 1; known <= LAST_ERRNO; ++known) {
		const char *symbol = strerrorname_np(known);
		if (symbol && (strcmp(symbol, text) == 0 ||
			       std::to_string(known) == text))
			return known;
	}
	return 0;
}

const char *errno_symbol(int number)
{
	const char *symbol = strerrorname_np(number);

	return symbol ? symbol : "?";
}

} // namespace simboard
