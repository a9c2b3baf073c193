#include "simboard/record-queue.h"
#include "simboard/thresholds.h"

#include <gtest/gtest.h>

using namespace simboard;

namespace
{

using enum Crossing;

/// From 100 to 200.
Thresholds enabled(ThresholdKind kind)
{
	Thresholds thresholds(kind);

	thresholds.set_value(FALLING, 100);
	thresholds.set_value(RISING, 200);
	thresholds.enable(RISING, true);
	thresholds.enable(FALLING, true);
	return thresholds;
}

} // namespace

TEST(Thresholds, AreReachedFromTheOtherSide)
{
	Thresholds both = enabled(ThresholdKind::BOTH);

	EXPECT_FALSE(both.crossed(RISING, 150, 199));
	EXPECT_TRUE(both.crossed(RISING, 199, 200));
	EXPECT_FALSE(both.crossed(RISING, 200, 300)) << "it stays there";
	EXPECT_FALSE(both.crossed(RISING, 300, 150));
	EXPECT_TRUE(both.crossed(FALLING, 300, 0));
	EXPECT_TRUE(both.crossed(FALLING, 101, 100));
	EXPECT_FALSE(both.crossed(FALLING, 100, 0));
	EXPECT_FALSE(both.crossed(FALLING, 0, 150));
}

TEST(Thresholds, AreEnabledOneByOneOrBothAtOnce)
{
	Thresholds both = enabled(ThresholdKind::BOTH);
	Thresholds either = enabled(ThresholdKind::EITHER);

	both.enable(RISING, false);
	EXPECT_FALSE(both.crossed(RISING, 0, 300));
	EXPECT_TRUE(both.crossed(FALLING, 300, 0));
	either.enable(RISING, false);
	EXPECT_FALSE(either.enabled(FALLING));
	either.enable(RISING, true);
	EXPECT_TRUE(either.crossed(FALLING, 300, 0));
}

TEST(Thresholds, ASingleOneIsTheLastThatWasWritten)
{
	Thresholds one = enabled(ThresholdKind::ONE);

	EXPECT_EQ(one.value(FALLING), 200) << "there is just one register";
	EXPECT_TRUE(one.crossed(RISING, 0, 200));
	EXPECT_FALSE(one.crossed(FALLING, 300, 0));
	one.set_value(FALLING, 50);
	EXPECT_FALSE(one.crossed(RISING, 0, 300));
	EXPECT_TRUE(one.crossed(FALLING, 300, 50));
}

TEST(Thresholds, TellTheDirectionThatTheyAreEnabledFor)
{
	EXPECT_EQ(enabled(ThresholdKind::BOTH).event_direction(RISING), 1u);
	EXPECT_EQ(enabled(ThresholdKind::BOTH).event_direction(FALLING), 2u);
	EXPECT_EQ(enabled(ThresholdKind::EITHER).event_direction(RISING), 0u);
	// Thresholds are type 0, proximity is channel type 8.
	EXPECT_EQ(event_id(0, 5, 1), 0x0001000000000005u);
	EXPECT_EQ(event_id(8, 2, 2), 0x0002000800000002u);
}

TEST(RecordQueue, KeepsTheOldestAndGivesWholeRecords)
{
	RecordQueue queue;

	EXPECT_FALSE(queue.push("x")) << "nobody wants any yet";
	queue.reset(2, 3);
	for (const char *record : {"aa", "bb", "cc"})
		EXPECT_TRUE(queue.push(record));
	EXPECT_FALSE(queue.push("dd"));
	EXPECT_EQ(queue.take(1), "");
	EXPECT_EQ(queue.take(5), "aabb");
	EXPECT_EQ(queue.count(), 1u);
	EXPECT_TRUE(queue.push("ee"));
	queue.reset(2, 3);
	EXPECT_EQ(queue.take(100), "");
}
