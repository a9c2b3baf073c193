#include "util/log.h"

#include <cstdarg>
#include <cstdio>

namespace util
{

void print_out(const char *format, ...)
{
	va_list args;
	va_start(args, format);
	std::vfprintf(stdout, format, args);
	va_end(args);
	std::fflush(stdout);
}

void print_err(const char *format, ...)
{
	va_list args;
	va_start(args, format);
	std::vfprintf(stderr, format, args);
	va_end(args);
	std::fflush(stderr);
}

} // namespace util
