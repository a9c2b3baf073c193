#include "log-capture.h"
#include "util/rate-limit.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

gint64 now;

class RateLimitTest : public testing::Test
{
protected:
	RateLimitTest()
	{
		now = 0;
	}

	util::RateLimit limit_{[] { return now; }};
	LogCapture log_;
};

TEST_F(RateLimitTest, AWarningIsLoggedAsGiven)
{
	limit_.warn("line %d of %s", 4, "door");
	EXPECT_THAT(log_.warnings(), ElementsAre("line 4 of door"));
}

TEST_F(RateLimitTest, ThatAgainIsLeftOutForOneSecond)
{
	limit_.warn("broken");
	now = G_USEC_PER_SEC - 1;
	limit_.warn("broken");
	EXPECT_THAT(log_.warnings(), ElementsAre("broken"));
}

TEST_F(RateLimitTest, AfterASecondItIsLoggedAgainBehindTheCount)
{
	for (int i = 0; i < 4; ++i)
		limit_.warn("broken");
	now = G_USEC_PER_SEC;
	limit_.warn("broken");
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre("broken", "broken (repeated 3 times)", "broken"));
}

TEST_F(RateLimitTest, TheSecondCountsFromTheLastOneLogged)
{
	limit_.warn("broken");
	now = G_USEC_PER_SEC;
	limit_.warn("broken");
	now = 2 * G_USEC_PER_SEC - 1;
	log_.clear();
	limit_.warn("broken");
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(RateLimitTest, TheCountStartsAnewWithEachOneLogged)
{
	for (int second = 0; second < 3; ++second) {
		now = second * G_USEC_PER_SEC;
		limit_.warn("broken");
	}
	EXPECT_THAT(log_.warnings(), ElementsAre("broken", "broken", "broken"));
}

TEST_F(RateLimitTest, AnotherWarningIsLoggedAtOnce)
{
	limit_.warn("value 2");
	limit_.warn("value 2");
	limit_.warn("value 3");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("value 2", "value 2 (repeated 1 times)",
				"value 3"));
}

TEST_F(RateLimitTest, OnceTheFaultIsOverTheCountIsTold)
{
	limit_.warn("broken");
	limit_.warn("broken");
	limit_.settle();
	EXPECT_THAT(log_.warnings(), ElementsAre("broken"));
	now = G_USEC_PER_SEC;
	limit_.settle();
	limit_.settle();
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("broken", "broken (repeated 1 times)"));
}

TEST_F(RateLimitTest, AFaultThatComesAndGoesDoesNotFloodTheLog)
{
	for (now = 0; now < G_USEC_PER_SEC; now += 1000) {
		limit_.warn("broken");
		limit_.settle();
	}
	EXPECT_THAT(log_.warnings(), ElementsAre("broken"));
}

TEST_F(RateLimitTest, NothingIsToldOfWhatNeverWas)
{
	now = G_USEC_PER_SEC;
	limit_.settle();
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

} // namespace
