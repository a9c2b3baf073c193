#include "log-capture.h"
#include "util/rate-limit.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

gint64 now;

gint64 fake_clock()
{
	return now;
}

class RateLimitTest : public testing::Test
{
protected:
	RateLimitTest()
	{
		now = 0;
	}

	util::RateLimit limit_{fake_clock};
	unsigned left_out_ = 99;
	LogCapture log_;
};

TEST_F(RateLimitTest, LetsTheFirstOccurrenceThrough)
{
	EXPECT_TRUE(limit_.admit(&left_out_));
	EXPECT_EQ(left_out_, 0U);
}

TEST_F(RateLimitTest, HoldsOthersBackForOneSecond)
{
	limit_.admit(&left_out_);
	EXPECT_FALSE(limit_.admit(&left_out_));
	now = G_USEC_PER_SEC - 1;
	EXPECT_FALSE(limit_.admit(&left_out_));
	now = G_USEC_PER_SEC;
	EXPECT_TRUE(limit_.admit(&left_out_));
	EXPECT_EQ(left_out_, 2U);
}

TEST_F(RateLimitTest, CountsFromAnewAfterEachOneLetThrough)
{
	limit_.admit(&left_out_);
	limit_.admit(&left_out_);
	now += G_USEC_PER_SEC;
	limit_.admit(&left_out_);
	now += G_USEC_PER_SEC;
	EXPECT_TRUE(limit_.admit(&left_out_));
	EXPECT_EQ(left_out_, 0U);
}

TEST_F(RateLimitTest, MeasuresTheSecondFromTheLastOneLetThrough)
{
	limit_.admit(&left_out_);
	now = G_USEC_PER_SEC - 1;
	limit_.admit(&left_out_);
	now = G_USEC_PER_SEC;
	EXPECT_TRUE(limit_.admit(&left_out_));
	now = 2 * G_USEC_PER_SEC - 1;
	EXPECT_FALSE(limit_.admit(&left_out_));
}

TEST_F(RateLimitTest, AWarningIsLoggedAsGiven)
{
	util::warn_limited(limit_, "line %d of %s", 4, "door");
	EXPECT_THAT(log_.warnings(), ElementsAre("line 4 of door"));
}

TEST_F(RateLimitTest, ARepeatedWarningIsLeftOut)
{
	util::warn_limited(limit_, "broken");
	log_.clear();
	util::warn_limited(limit_, "broken");
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(RateLimitTest, TheNextWarningIsFollowedByTheCountOfThoseLeftOut)
{
	for (int i = 0; i < 4; ++i)
		util::warn_limited(limit_, "broken");
	now += G_USEC_PER_SEC;
	log_.clear();
	util::warn_limited(limit_, "broken");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("broken", "... (repeated 3 times)"));
}

} // namespace
