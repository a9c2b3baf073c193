#include "util/rate-limit.h"

#include <cstdarg>
#include <utility>

namespace util
{

bool RateLimit::admit(unsigned *left_out)
{
	const gint64 now = clock_();
	if (started_ && now - last_ < G_USEC_PER_SEC) {
		++left_out_;
		return false;
	}
	started_ = true;
	last_ = now;
	*left_out = std::exchange(left_out_, 0);
	return true;
}

void warn_limited(RateLimit &limit, const char *format, ...)
{
	unsigned left_out = 0;
	if (!limit.admit(&left_out))
		return;
	va_list args;
	va_start(args, format);
	g_logv(nullptr, G_LOG_LEVEL_WARNING, format, args);
	va_end(args);
	if (left_out > 0)
		g_warning("... (repeated %u times)", left_out);
}

} // namespace util
