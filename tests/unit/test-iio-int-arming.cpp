/// The thresholds and the polls of the "iio-interrupt" backend.

#include "iio-int-fixture.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class IioIntArmingTest : public IioIntTest
{
protected:
	/// What a level has the watch write.
	std::vector<std::string> armed_at(const std::string &raw)
	{
		set_raw(raw);
		recorder::reset();
		io_port_set_watch(port_.get());
		return writes();
	}
	/// A port with limits at 100 and 300.
	void supervise_with_limits()
	{
		configure(PORT_INPUT);
		parse("device", "lower_limit", "100");
		parse("device", "upper_limit", "300");
		supervise_as_configured();
		recorder::reset();
	}
	void poll_with(const std::string &raw)
	{
		set_raw(raw);
		recorder::reset();
		poll();
	}
};

using IioIntLimitTest = IioIntArmingTest;

// ---- thresholds ----

TEST_F(IioIntArmingTest, TheThresholdsAreTheBoundsOfTheLevelsRange)
{
	supervise();
	EXPECT_THAT(armed_at("100"), armed("200", "100"));
	EXPECT_THAT(armed_at("200"), armed("200", "100"));
	EXPECT_THAT(armed_at("201"), armed("300", "201"));
	EXPECT_THAT(armed_at("0"), armed("99", "0"));
}

TEST_F(IioIntArmingTest, HysteresisWidensAndBitshiftScalesTheRange)
{
	configure(PORT_INPUT);
	parse("device", "hysteresis", "5");
	parse("device", "bitshift", "2");
	supervise_as_configured();
	EXPECT_THAT(armed_at("600"), armed("820", "380")); // 150 << 2
}

TEST_F(IioIntArmingTest, TheLevelIsTheRawValueShifted)
{
	configure(PORT_INPUT);
	parse("device", "bitshift", "4");
	supervise_as_configured();
	EXPECT_THAT(armed_at("1600"), armed("3200", "1600"));
	EXPECT_THAT(armed_at("1599"), armed("1584", "0"));
	EXPECT_EQ(data()->last_readout, 99U);
}

TEST_F(IioIntArmingTest, OfTheBitshiftTheLowFiveBitsCount)
{
	configure(PORT_INPUT);
	parse("device", "bitshift", "34");
	supervise_as_configured();
	EXPECT_THAT(armed_at("600"), armed("800", "400"));
	parse("device", "bitshift", "-30");
	EXPECT_THAT(armed_at("600"), armed("800", "400"));
}

TEST_F(IioIntArmingTest, ANegativeRawValueIsShiftedAsAnUnsignedOne)
{
	configure(PORT_INPUT);
	parse("device", "bitshift", "24");
	supervise_as_configured();
	armed_at("-1");
	EXPECT_EQ(data()->last_readout, 255U);
}

TEST_F(IioIntArmingTest, AThresholdBelowZeroIsANegativeNumber)
{
	configure(PORT_INPUT);
	parse("device", "hysteresis", "5");
	supervise_as_configured();
	EXPECT_THAT(armed_at("50"), armed("104", "-5"));
	parse("device", "bitshift", "2");
	EXPECT_THAT(armed_at("200"), armed("416", "-20"));
}

TEST_F(IioIntArmingTest, ThresholdsWrapAs32BitNumbersDo)
{
	configure(PORT_INPUT);
	parse("device", "hysteresis", "2147483647");
	supervise_as_configured();
	// 200 + 0x7fffffff and 100 - 0x7fffffff
	EXPECT_THAT(armed_at("150"), armed("-2147483449", "-2147483547"));
	parse("device", "hysteresis", "4294967295");
	EXPECT_THAT(armed_at("150"), armed("199", "101"));
	parse("device", "hysteresis", "0");
	parse("device", "bitshift", "31");
	parse_range("closed", "1", "2");
	EXPECT_THAT(armed_at("-1"), armed("0", "-2147483648"));
}

TEST_F(IioIntArmingTest, OfOverlappingRangesTheLastOneCounts)
{
	supervise();
	port_->supervised_ranges = {{SUPERVISED_OPEN, 100, 0},
				    {SUPERVISED_CUT, 150, 50}};
	EXPECT_THAT(armed_at("49"), armed("100", "0"));
	EXPECT_THAT(armed_at("50"), armed("150", "50"));
}

TEST_F(IioIntArmingTest, ALevelInNoRangeLeavesTheEventsAsTheyAre)
{
	supervise();
	EXPECT_THAT(armed_at("401"), IsEmpty());
	EXPECT_FALSE(is_polled());
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioIntArmingTest, ALevelThatCannotBeReadIsZero)
{
	supervise();
	fake_iio::remove("iio:device0/in_voltage3_raw");
	recorder::reset();
	io_port_set_watch(port_.get());
	EXPECT_THAT(writes(), armed("99", "0"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to read sysfs path "
				"'/sys/bus/iio/devices/iio:device0/"
				"in_voltage3_raw': No such file or directory"));
}

TEST_F(IioIntArmingTest, AThresholdThatCannotBeSetIsWarnedOf)
{
	supervise();
	fake_iio::fail(Call::WRITE, threshold_file("rising_value"), EINVAL);
	EXPECT_THAT(armed_at("150"), armed("200", "100"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to write sysfs: Invalid argument"));
}

// ---- one threshold at a time ----

TEST_F(IioIntArmingTest, OfARangeFromZeroOnlyTheRisingThresholdIsArmed)
{
	split_flags();
	configure(PORT_INPUT);
	parse("device", "one_threshold", "true");
	parse("device", "hysteresis", "5");
	supervise_as_configured();
	EXPECT_THAT(armed_at("50"),
		    ElementsAre(threshold("rising_value", "104"),
				threshold("rising_en", "1")));
}

TEST_F(IioIntArmingTest, OfAnyOtherRangeOnlyTheFallingThresholdIsArmed)
{
	split_flags();
	configure(PORT_INPUT);
	parse("device", "one_threshold", "true");
	parse("device", "hysteresis", "5");
	supervise_as_configured();
	EXPECT_THAT(armed_at("150"),
		    ElementsAre(threshold("falling_value", "95"),
				threshold("falling_en", "1")));
}

TEST_F(IioIntArmingTest, OneThresholdIsNotScaled)
{
	split_flags();
	configure(PORT_INPUT);
	parse("device", "one_threshold", "true");
	parse("device", "bitshift", "2");
	supervise_as_configured();
	EXPECT_THAT(armed_at("600"),
		    ElementsAre(threshold("falling_value", "100"),
				threshold("falling_en", "1")));
	EXPECT_THAT(armed_at("0"), ElementsAre(threshold("rising_value", "99"),
					       threshold("rising_en", "1")));
}

TEST_F(IioIntArmingTest, OneThresholdTakesAFlagForEach)
{
	configure(PORT_INPUT);
	parse("device", "one_threshold", "true");
	supervise_as_configured();
	EXPECT_THAT(armed_at("150"),
		    ElementsAre(threshold("falling_value", "100")));
	EXPECT_THAT(log_.warnings(),
		    Contains("Failed to write sysfs: Bad file descriptor"));
}

// ---- limits ----

TEST_F(IioIntLimitTest, ALevelAtOrBeyondALimitIsPolledInsteadOfArmed)
{
	supervise_with_limits();
	for (const char *raw : {"100", "99", "0", "300", "301", "400"}) {
		EXPECT_THAT(armed_at(raw), IsEmpty()) << raw;
		EXPECT_TRUE(is_polled()) << raw;
	}
}

TEST_F(IioIntLimitTest, ALevelBetweenTheLimitsIsArmed)
{
	supervise_with_limits();
	EXPECT_THAT(armed_at("101"), armed("200", "100"));
	EXPECT_FALSE(is_polled());
	EXPECT_THAT(armed_at("299"), armed("300", "201"));
	EXPECT_FALSE(is_polled());
}

TEST_F(IioIntLimitTest, EachLimitCanBeLeftOut)
{
	configure(PORT_INPUT);
	parse("device", "lower_limit", "100");
	supervise_as_configured();
	EXPECT_THAT(armed_at("400"), armed("400", "301"));
	parse("device", "lower_limit", "-1");
	parse("device", "upper_limit", "300");
	EXPECT_THAT(armed_at("0"), armed("99", "0"));
	EXPECT_THAT(armed_at("300"), IsEmpty());
	EXPECT_TRUE(is_polled());
}

TEST_F(IioIntLimitTest, AnUpperLimitOfZeroIsALimit)
{
	configure(PORT_INPUT);
	parse("device", "upper_limit", "0");
	supervise_as_configured();
	EXPECT_THAT(armed_at("150"), IsEmpty());
	EXPECT_TRUE(is_polled());
}

TEST_F(IioIntLimitTest, LimitsAreUnsigned)
{
	configure(PORT_INPUT);
	parse("device", "lower_limit", "-2");
	supervise_as_configured();
	EXPECT_THAT(armed_at("400"), IsEmpty());
	EXPECT_TRUE(is_polled());
}

TEST_F(IioIntLimitTest, APollComesAfterTheConfiguredTime)
{
	configure(PORT_INPUT);
	parse("device", "lower_limit", "100");
	parse("device", "limit_timeout", "5000");
	const gint64 before = g_get_monotonic_time();
	supervise_as_configured();
	const GSource *source = g_main_context_find_source_by_id(
		nullptr, data()->limit_poll_id.id());
	ASSERT_NE(source, nullptr);
	const gint64 due =
		g_source_get_ready_time(const_cast<GSource *>(source));
	EXPECT_GE(due, before + 5000000);
	EXPECT_LE(due, g_get_monotonic_time() + 5000000);
}

TEST_F(IioIntLimitTest, APollReportsChangesOnly)
{
	supervise_with_limits();
	poll_with("50");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN));
	poll_with("51");
	EXPECT_THAT(reports(), IsEmpty());
	poll_with("350");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CUT));
	EXPECT_TRUE(is_polled());
}

TEST_F(IioIntLimitTest, APollThatGoesOnIsTheSame)
{
	supervise_with_limits();
	const guint id = data()->limit_poll_id.id();
	poll_with("50");
	poll_with("350");
	EXPECT_EQ(data()->limit_poll_id.id(), id);
	EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(IioIntLimitTest, ALevelThatIsBackIsReportedAndArmed)
{
	supervise_with_limits();
	const guint id = data()->limit_poll_id.id();
	poll_with("150");
	EXPECT_THAT(recorder::calls(),
		    Contains("io_event_send_event(door, e, 1)"));
	EXPECT_THAT(writes(), armed("200", "100"));
	EXPECT_FALSE(is_polled());
	EXPECT_EQ(g_main_context_find_source_by_id(nullptr, id), nullptr);
}

TEST_F(IioIntLimitTest, ALevelThatIsBackInNoRangeIsPolledOn)
{
	supervise_with_limits();
	port_->supervised_ranges = {{SUPERVISED_OPEN, 100, 0}};
	poll_with("150");
	EXPECT_THAT(reports(), IsEmpty()); // undefined, as before
	EXPECT_TRUE(is_polled());
	poll_with("50");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN));
	poll_with("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_UNDEFINED));
	EXPECT_TRUE(is_polled());
}

TEST_F(IioIntLimitTest, ALevelThatLeavesTheLimitsAgainIsPolledAgain)
{
	supervise_with_limits();
	poll_with("150");
	EXPECT_FALSE(is_polled());
	recorder::reset();
	cross("350");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CUT));
	EXPECT_TRUE(is_polled());
}

TEST_F(IioIntLimitTest, APollThatCannotMeasureGoesOn)
{
	supervise_with_limits();
	port_->type = PORT_OUTPUT;
	poll_with("150");
	port_->type = PORT_INPUT;
	EXPECT_TRUE(is_polled());
	EXPECT_THAT(reports(), IsEmpty());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Unable to read from port door\n"));
}

TEST_F(IioIntLimitTest, ThePollEndsWithTheWatch)
{
	supervise_with_limits();
	EXPECT_TRUE(is_polled());
	port_->supervised = false;
	io_port_set_watch(port_.get());
	EXPECT_FALSE(is_polled());
	port_->supervised = true;
	io_port_set_watch(port_.get());
	EXPECT_TRUE(is_polled());
	functions_->close(port_.get());
	EXPECT_FALSE(is_polled());
}

} // namespace
