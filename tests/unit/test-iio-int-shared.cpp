/// Ports on the "iio-interrupt" backend that share a converter, or a channel's
/// number.

#include "iio-int-fixture.h"

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class IioIntSharedTest : public IioIntEventsTest
{
protected:
	/// Watched ports on the channels 3, which is the fixture's, and 4.
	PortRef supervise_two()
	{
		add_channel(0, "voltage4");
		supervise();
		return add_port("gate", "chip", "4");
	}
};

TEST_F(IioIntSharedTest, PortsOfAConverterShareItsEvents)
{
	const PortRef gate = supervise_two();
	EXPECT_THAT(fake_iio::open_files(), Contains("events0").Times(1));
	set_raw("150", "voltage4");
	event(4);
	EXPECT_EQ(events_read(), 1U);
	EXPECT_THAT(reports("gate"), ElementsAre(SUPERVISED_CLOSED));
	cross("250");
	EXPECT_EQ(events_read(), 1U);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));
}

TEST_F(IioIntSharedTest, TheWatchStaysAsLongAsAPortNeedsIt)
{
	const PortRef gate = supervise_two();
	unwatch(port_);
	set_raw("150", "voltage4");
	recorder::reset();
	event(4);
	EXPECT_THAT(reports("gate"), ElementsAre(SUPERVISED_CLOSED));
	unwatch(gate);
	recorder::reset();
	event(4);
	EXPECT_EQ(events_read(), 0U);
}

TEST_F(IioIntSharedTest, UnwatchingTwiceCountsOnce)
{
	const PortRef gate = supervise_two();
	unwatch(port_);
	unwatch(port_);
	set_raw("150", "voltage4");
	recorder::reset();
	event(4);
	EXPECT_THAT(reports("gate"), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntSharedTest, OfPortsOnOneChannelTheLastOneIsHandled)
{
	supervise();
	const PortRef other = add_port("other", "chip", "3");
	cross("150");
	EXPECT_EQ(recorder::count("io_event_send_event(door"), 0U);
	EXPECT_EQ(recorder::count("io_event_send_event(other, e, 1)"), 1U);
	// Both are disarmed; one is armed.
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0"),
					  threshold("either_en", "0"),
					  threshold("rising_value", "200"),
					  threshold("falling_value", "100"),
					  threshold("either_en", "1")));
}

TEST_F(IioIntSharedTest, ThePortThatWasAddedAgainIsTheLastOne)
{
	supervise();
	const PortRef other = add_port("other", "chip", "3");
	unwatch(port_);
	port_->supervised = true;
	io_port_set_watch(port_.get());
	recorder::reset();
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntSharedTest, AnEventConcernsTheSameChannelOfOtherConverters)
{
	add_converter(1, "other-chip");
	add_channel(1, "voltage3");
	supervise();
	const PortRef other = add_port("other", "other-chip", "3");
	set_raw("250", "voltage3", 1);
	event(3);
	EXPECT_EQ(recorder::count("io_event_send_event(door"), 0U);
	EXPECT_EQ(recorder::count("io_event_send_event(other, e, 2)"), 1U);
	EXPECT_THAT(
		writes(),
		ElementsAre(threshold("either_en", "0"),
			    threshold("either_en", "0", "voltage3", 1),
			    threshold("rising_value", "300", "voltage3", 1),
			    threshold("falling_value", "201", "voltage3", 1),
			    threshold("either_en", "1", "voltage3", 1)));
}

TEST_F(IioIntSharedTest, EachConverterHasEventsOfItsOwn)
{
	add_converter(1, "other-chip");
	add_channel(1, "voltage4");
	supervise();
	const PortRef other = add_port("other", "other-chip", "4");
	EXPECT_THAT(fake_iio::open_files(), Contains("events1"));
	unwatch(port_);
	set_raw("150", "voltage4", 1);
	recorder::reset();
	event(4, "events1");
	EXPECT_THAT(reports("other"), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntSharedTest, TheFirstPortThatClosesTakesTheConverterDown)
{
	const PortRef gate = supervise_two();
	io_port_close(port_.get());
	EXPECT_THAT(fake_iio::open_files(), Not(Contains("events0")));
	EXPECT_EQ(handle_pending(), 0);
	unwatch(gate);
	io_port_close(gate.get());
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
}

TEST_F(IioIntSharedTest, TheNextSetUpServesEverybodyWhoWaits)
{
	const PortRef gate = supervise_two();
	io_port_close(port_.get());
	ASSERT_TRUE(io_port_setup(port_.get()));
	set_raw("150", "voltage4");
	recorder::reset();
	event(4);
	EXPECT_THAT(reports("gate"), ElementsAre(SUPERVISED_CLOSED));
	io_port_set_watch(port_.get());
	unwatch(gate);
	recorder::reset();
	cross("250");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));
	unwatch(port_);
	recorder::reset();
	event(3);
	EXPECT_EQ(events_read(), 0U);
}

TEST_F(IioIntSharedTest, APortThatIsGoneIsNotServed)
{
	PortRef gate = supervise_two();
	gate = {};
	recorder::reset();
	EXPECT_THAT(fake_iio::open_files(), Not(Contains("events0")));
	ASSERT_TRUE(io_port_setup(port_.get()));
	io_port_set_watch(port_.get());
	recorder::reset();
	event(4);
	EXPECT_EQ(events_read(), 1U);
	EXPECT_THAT(writes(), IsEmpty());
}

} // namespace
