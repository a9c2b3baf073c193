#include "timestamp.h"

namespace orvadctl
{

namespace
{

constexpr int MICROSECONDS_PER_MILLISECOND = 1000;

std::string format(GDateTime *time, const char *date_and_time)
{
	util::CharPtr seconds(g_date_time_format(time, date_and_time));
	int milliseconds = g_date_time_get_microsecond(time) /
			   MICROSECONDS_PER_MILLISECOND;
	util::CharPtr text(
		g_strdup_printf("%s.%03d", seconds.get(), milliseconds));

	return text.get();
}

} // namespace

DateTimePtr local_now()
{
	return DateTimePtr(g_date_time_new_now_local());
}

std::string time_text(GDateTime *time)
{
	return format(time, "%Y-%m-%d %H:%M:%S");
}

std::string clock_text(GDateTime *time)
{
	return format(time, "%H:%M:%S");
}

std::string iso_time_text(GDateTime *time)
{
	util::CharPtr zone(g_date_time_format(time, "%:z"));

	return format(time, "%Y-%m-%dT%H:%M:%S") + zone.get();
}

} // namespace orvadctl
