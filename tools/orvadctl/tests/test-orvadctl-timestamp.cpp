#include "orvadctl/timestamp.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

constexpr int HOUR_S = 3600;

DateTimePtr at(int offset_s, double seconds)
{
	util::Handle<GTimeZone, g_time_zone_unref> zone(
		g_time_zone_new_offset(offset_s));

	return DateTimePtr(
		g_date_time_new(zone.get(), 2024, 5, 1, 9, 0, seconds));
}

} // namespace

TEST(Timestamp, TextHasMilliseconds)
{
	EXPECT_EQ(time_text(at(0, 1.25).get()), "2024-05-01 09:00:01.250");
	EXPECT_EQ(time_text(at(0, 59).get()), "2024-05-01 09:00:59.000");
}

TEST(Timestamp, PartsOfAMillisecondAreCutOff)
{
	EXPECT_EQ(time_text(at(0, 1.9999).get()), "2024-05-01 09:00:01.999");
}

TEST(Timestamp, IsoTextHasTheZone)
{
	EXPECT_EQ(iso_time_text(at(2 * HOUR_S, 1.5).get()),
		  "2024-05-01T09:00:01.500+02:00");
	EXPECT_EQ(iso_time_text(at(-HOUR_S / 2, 1.5).get()),
		  "2024-05-01T09:00:01.500-00:30");
}

TEST(Timestamp, NowIsInTheLocalZone)
{
	DateTimePtr now = local_now();
	DateTimePtr local(g_date_time_to_local(now.get()));
	EXPECT_EQ(iso_time_text(now.get()), iso_time_text(local.get()));
}
