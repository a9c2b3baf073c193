#include "util/rate-limit.h"

#include "util/glib-ptr.h"

#include <cstdarg>

namespace util
{

bool RateLimit::in_first_second() const
{
	return clock_() - last_time_ < G_USEC_PER_SEC;
}

void RateLimit::tell_left_out()
{
	if (left_out_ > 0)
		g_warning("%s (repeated %u times)", last_text_.c_str(),
			  left_out_);
	left_out_ = 0;
}

void RateLimit::warn(const char *format, ...)
{
	va_list args;
	va_start(args, format);
	const CharPtr text(g_strdup_vprintf(format, args));
	va_end(args);

	if (last_text_ == text.get() && in_first_second()) {
		++left_out_;
		return;
	}
	tell_left_out();
	g_warning("%s", text.get());
	last_text_ = text.get();
	last_time_ = clock_();
}

void RateLimit::settle()
{
	if (left_out_ > 0 && !in_first_second())
		tell_left_out();
}

} // namespace util
