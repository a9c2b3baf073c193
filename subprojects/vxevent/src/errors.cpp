#include "errors.h"

#include <cstdarg>

GQuark event_error_quark(void)
{
	return g_quark_from_static_string("vxevent-error-quark");
}

namespace vxevent
{

bool refuse(GError **error, EventError code, const char *format, ...)
{
	va_list arguments;
	va_start(arguments, format);
	if (error != nullptr)
		*error = g_error_new_valist(EVENT_ERROR, code, format,
					    arguments);
	va_end(arguments);
	return false;
}

bool check_text(const char *text, const char *role, GError **error)
{
	if (!check_given(text, role, error))
		return false;
	if (!g_utf8_validate(text, -1, nullptr))
		return refuse(error, EVENT_ERROR_INVALID,
			      "The %s is not valid UTF-8", role);
	return true;
}

bool check_name(const char *text, const char *role, GError **error)
{
	if (!check_text(text, role, error))
		return false;
	if (*text == '\0')
		return refuse(error, EVENT_ERROR_INVALID, "The %s is empty",
			      role);
	return true;
}

bool check_given(const void *object, const char *role, GError **error)
{
	if (object == nullptr)
		return refuse(error, EVENT_ERROR_INVALID, "No %s is given",
			      role);
	return true;
}

} // namespace vxevent
