/// The events of a converter on the "iio-interrupt" backend; what ports share
/// is in test-iio-int-shared.cpp.

#include "iio-int-fixture.h"
#include "wait-until.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kReading = "read(iio:device0/in_voltage3_raw)";

// ---- one event ----

TEST_F(IioIntEventsTest, AnEventIsReportedAndTheThresholdsMove)
{
	supervise();
	recorder::reset();
	cross("150");
	EXPECT_THAT(recorder::calls(),
		    Contains("io_event_send_event(door, e, 1)"));
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0"),
					  threshold("rising_value", "200"),
					  threshold("falling_value", "100"),
					  threshold("either_en", "1")));
}

TEST_F(IioIntEventsTest, TheEventsAreOffWhileTheLevelIsRead)
{
	supervise();
	recorder::reset();
	std::string flag;
	recorder::set_hook([&](const std::string &line) {
		if (line == kReading && flag.empty())
			flag = fake_iio::get(threshold_file("either_en"));
	});
	cross("150");
	EXPECT_EQ(flag, "0");
}

TEST_F(IioIntEventsTest, TheFirstEventReportsWhateverTheStateIs)
{
	supervise();
	recorder::reset();
	cross("0");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN));
}

TEST_F(IioIntEventsTest, OnlyChangesAreReported)
{
	supervise();
	recorder::reset();
	for (const char *raw : {"150", "160", "250", "350", "50", "500"})
		cross(raw);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED, SUPERVISED_SHORT,
					   SUPERVISED_CUT, SUPERVISED_OPEN,
					   SUPERVISED_UNDEFINED));
}

TEST_F(IioIntEventsTest, ALevelInNoRangeIsReportedAndNotArmed)
{
	supervise();
	cross("150");
	recorder::reset();
	cross("500");
	EXPECT_THAT(recorder::calls(),
		    Contains("io_event_send_event(door, e, 4)"));
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0")));
}

TEST_F(IioIntEventsTest, AnEventIsMatchedByItsLow32Bits)
{
	supervise();
	set_raw("150");
	recorder::reset();
	event(guint64{4} << 32 | 3);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
	set_raw("250");
	event(guint64{0xff} << 56 | 3);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));
}

TEST_F(IioIntEventsTest, AnEventOfAnotherChannelChangesNothing)
{
	supervise();
	set_raw("150");
	recorder::reset();
	event(4);
	event(0);
	event(5 << 16 | 3); // of two channels
	EXPECT_EQ(events_read(), 3U);
	EXPECT_THAT(reports(), IsEmpty());
	EXPECT_THAT(writes(), IsEmpty());
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioIntEventsTest, ADisabledPortReportsNothingAndStaysArmed)
{
	supervise();
	port_->enabled = false;
	recorder::reset();
	cross("150");
	EXPECT_EQ(recorder::count("io_event_send_event("), 0U);
	EXPECT_THAT(writes(), Contains(threshold("rising_value", "200")));
}

TEST_F(IioIntEventsTest, AMeasurementThatFailsIsReportedAsUndefined)
{
	supervise();
	cross("150");
	reports();
	port_->type = PORT_OUTPUT;
	cross("250");
	port_->type = PORT_INPUT;
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_UNDEFINED));
	EXPECT_THAT(log_.warnings(),
		    Contains("Readout failed: Failed to get ranges from "
			     "port door"));
}

TEST_F(IioIntEventsTest, AWatchThatIsStartedAgainReportsAgain)
{
	supervise();
	cross("150");
	unwatch(port_);
	port_->supervised = true;
	io_port_set_watch(port_.get());
	recorder::reset();
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntEventsTest, AWatchThatIsStartedTwiceArmsAgain)
{
	supervise();
	set_raw("150");
	recorder::reset();
	io_port_set_watch(port_.get());
	EXPECT_THAT(writes(), armed("200", "100"));
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
	EXPECT_EQ(events_read(), 0U); // reports() forgot it
	unwatch(port_);
	recorder::reset();
	cross("250");
	EXPECT_EQ(events_read(), 0U);
}

TEST_F(IioIntEventsTest, AnUnwatchedPortsEventsAreOff)
{
	supervise();
	recorder::reset();
	unwatch(port_);
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0")));
	cross("150");
	EXPECT_EQ(events_read(), 0U);
}

// ---- levels that do not wait ----

TEST_F(IioIntEventsTest, ALevelThatMovesBetweenReportAndArmingIsReported)
{
	supervise();
	recorder::reset();
	unsigned readings = 0;
	recorder::set_hook([&](const std::string &line) {
		if (line == kReading && ++readings == 2)
			set_raw("250");
	});
	cross("150");
	EXPECT_THAT(reports(),
		    ElementsAre(SUPERVISED_CLOSED, SUPERVISED_SHORT));
	EXPECT_EQ(fake_iio::get(threshold_file("rising_value")), "300");
	EXPECT_FALSE(is_polled());
}

TEST_F(IioIntEventsTest, ALevelThatMovesWhileItIsArmedIsLookedAtAgain)
{
	supervise();
	cross("150");
	recorder::reset();
	set_raw_when(threshold("either_en", "1"), "350");
	cross("250");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));
	ASSERT_TRUE(is_polled());
	recorder::reset();
	poll();
	EXPECT_THAT(recorder::calls(),
		    Contains("io_event_send_event(door, e, 3)"));
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0"),
					  threshold("rising_value", "400"),
					  threshold("falling_value", "301"),
					  threshold("either_en", "1")));
	EXPECT_FALSE(is_polled());
}

TEST_F(IioIntEventsTest, ASecondLookThatFindsNoRangeIsTheLast)
{
	supervise();
	set_raw_when(threshold("either_en", "1"), "500");
	cross("150");
	recorder::reset();
	poll();
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_UNDEFINED));
	EXPECT_FALSE(is_polled());
}

TEST_F(IioIntEventsTest, ASecondLookIsNoLongerNeededAfterAnEvent)
{
	supervise();
	set_raw_when(threshold("either_en", "1"), "350");
	cross("150");
	ASSERT_TRUE(is_polled());
	cross("350");
	EXPECT_FALSE(is_polled());
}

TEST_F(IioIntEventsTest, AMoveWithinTheHysteresisNeedsNoSecondLook)
{
	configure(PORT_INPUT);
	parse("device", "hysteresis", "5");
	supervise_as_configured();
	for (const char *raw : {"205", "95"}) {
		set_raw_when(threshold("either_en", "1"), raw);
		cross("150");
		EXPECT_FALSE(is_polled()) << raw;
	}
	for (const char *raw : {"206", "94"}) {
		set_raw_when(threshold("either_en", "1"), raw);
		cross("150");
		EXPECT_TRUE(is_polled()) << raw;
	}
}

TEST_F(IioIntEventsTest, OfOneThresholdOnlyTheArmedSideCounts)
{
	configure(PORT_INPUT);
	parse("device", "one_threshold", "true");
	split_flags();
	supervise_as_configured();
	const auto moves = [&](const char *flag, const char *to) {
		set_raw_when(threshold(flag, "1"), to);
		io_port_set_watch(port_.get());
		return is_polled();
	};
	set_raw("150");
	EXPECT_FALSE(moves("falling_en", "250"));
	set_raw("150");
	EXPECT_TRUE(moves("falling_en", "99"));
	set_raw("50");
	EXPECT_TRUE(moves("rising_en", "100"));
}

// ---- faults ----

TEST_F(IioIntEventsTest, AShortRecordEndsTheWatch)
{
	supervise();
	recorder::reset();
	fake_iio::send("events0", "12345678");
	handle_pending();
	EXPECT_EQ(log_.warnings().size(), 1U);
	EXPECT_THAT(log_.warnings().front(),
		    testing::StartsWith("read Error: "));
	cross("150");
	EXPECT_EQ(events_read(), 1U);
	EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(IioIntEventsTest, AFailedReadEndsTheWatchAndNothingElse)
{
	add_converter(1, "other-chip");
	add_channel(1, "voltage4");
	supervise();
	const PortRef other = add_port("other", "other-chip", "4");
	for (const int error : {EIO, ENODEV}) {
		fake_iio::fail(Call::READ, "events0", error);
		event(3);
		fake_iio::fail(Call::READ, "events0", 0);
	}
	EXPECT_EQ(events_read(), 1U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("read Error: Input/output error"));
	EXPECT_EQ(handle_pending(), 0);

	EXPECT_THAT(fake_iio::open_files(), Contains("events0"));
	set_raw("150");
	EXPECT_EQ(functions_->get_state(port_.get()), SUPERVISED_CLOSED);
	set_raw("250", "voltage4", 1);
	recorder::reset();
	event(4, "events1");
	EXPECT_THAT(reports("other"), ElementsAre(SUPERVISED_SHORT));
}

TEST_F(IioIntEventsTest, AnEventThatIsAnnouncedAndNotThereIsLookedForLater)
{
	supervise();
	set_raw("150");
	fake_iio::fail(Call::READ, "events0", EAGAIN);
	event(3);
	EXPECT_EQ(handle_pending(), 0);
	EXPECT_EQ(data()->last_state, SUPERVISED_UNDEFINED);
	fake_iio::fail(Call::READ, "events0", 0);
	EXPECT_TRUE(wait_until(
		[this] { return data()->last_state == SUPERVISED_CLOSED; }));
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioIntEventsTest, AWatchThatEndedStaysOffForPortsThatJoin)
{
	supervise();
	fake_iio::send("events0", "short");
	handle_pending();
	add_channel(0, "voltage4");
	const PortRef gate = add_port("gate", "chip", "4");
	event(4);
	EXPECT_EQ(events_read(), 0U);
}

TEST_F(IioIntEventsTest, AWatchThatEndedIsBackOnceNobodyWaited)
{
	supervise();
	fake_iio::send("events0", "short");
	handle_pending();
	unwatch(port_);
	port_->supervised = true;
	io_port_set_watch(port_.get());
	recorder::reset();
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntEventsTest, AConverterThatIsGoneIsGivenUp)
{
	supervise();
	recorder::reset();
	fake_iio::hang_up("events0");
	handle_pending();
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("read Error: No data available"));
	EXPECT_THAT(reports(), IsEmpty());
	EXPECT_EQ(handle_pending(), 0);
}

TEST_F(IioIntEventsTest, TheLimitPollOutlivesTheWatch)
{
	configure(PORT_INPUT);
	parse("device", "lower_limit", "10");
	supervise_as_configured();
	fake_iio::send("events0", "short");
	handle_pending();
	set_raw("150");
	recorder::reset();
	poll();
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

} // namespace
