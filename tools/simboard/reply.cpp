#include "reply.h"

#include "protocol.h"
#include "util/glib-ptr.h"

#include <cstdarg>

namespace simboard
{

bool Reply::line(const std::string &text) const
{
	return write_(PREFIX_LINE + text + "\n", false);
}

void Reply::done() const
{
	write_(std::string(STATUS_OK) + "\n", true);
}

void Reply::fail(const char *format, ...) const
{
	va_list arguments;

	va_start(arguments, format);
	util::CharPtr text(g_strdup_vprintf(format, arguments));
	va_end(arguments);
	write_(std::string(STATUS_ERROR) + text.get() + "\n", true);
}

} // namespace simboard
