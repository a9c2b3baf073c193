#include "ioport/port-settings.h"

#include "ioport/port-state.h"
#include "log-capture.h"
#include "port-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortSettingsTest = PortTest;
using PortSettingsDeathTest = PortTest;

/// Both locks of the port can be taken.
bool is_unlocked(const PortRef &port)
{
	const std::unique_lock lock(port->lock, std::try_to_lock);
	const std::unique_lock state(port->state_lock, std::try_to_lock);
	return lock.owns_lock() && state.owns_lock();
}

// ---- Active levels ----

TEST_F(PortSettingsTest, EachSideHasItsActiveLevel)
{
	const PortRef port = make_port(PORT_IO_CTRL);
	port->input_activelow = true;
	EXPECT_TRUE(io_port_get_activelow(port.get(), true));
	EXPECT_FALSE(io_port_get_activelow(port.get(), false));
	port->input_activelow = false;
	port->output_activelow = true;
	EXPECT_FALSE(io_port_get_activelow(port.get(), true));
	EXPECT_TRUE(io_port_get_activelow(port.get(), false));
}

TEST_F(PortSettingsTest, TheActiveLevelOfASideThatIsNotThereIsRefused)
{
	const PortRef input = make_set_up_port(PORT_INPUT);
	EXPECT_FALSE(io_port_set_activelow(input.get(), true, false));
	EXPECT_FALSE(input->output_activelow);
	const PortRef output = make_set_up_port(PORT_OUTPUT);
	EXPECT_FALSE(io_port_set_activelow(output.get(), true, true));
	EXPECT_FALSE(output->input_activelow);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSettingsTest, ARefusedActiveLevelDoesNotWaitForTheLock)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	const std::lock_guard lock(port->lock);
	EXPECT_FALSE(io_port_set_activelow(port.get(), true, false));
}

TEST_F(PortSettingsTest, AnUnchangedActiveLevelSucceedsInSilence)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_activelow(port.get(), false, true));
	EXPECT_TRUE(io_port_set_activelow(port.get(), false, false));
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_TRUE(is_unlocked(port));
}

TEST_F(PortSettingsTest, ANewInputLevelAnnouncesTheNewStateThenTrig)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, true));
	EXPECT_TRUE(port->input_activelow);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_reset_filter(IOPort)",
				"io_event_send_event(p, IOPort, 1)",
				port_changed({.input = true,
					      .state = true,
					      .activelow = true}),
				"property_changed(Trig, \"open\", 1, input)"));
	EXPECT_TRUE(is_unlocked(port));
}

TEST_F(PortSettingsTest, AnInputThatClosesAgainSaysSo)
{
	const PortRef port = make_port(PORT_INPUT, 4);
	port->input_activelow = true;
	ASSERT_TRUE(io_port_setup(port.get()));
	recorder::reset();
	EXPECT_TRUE(io_port_set_activelow(port.get(), false, true));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre(port_changed({.number = 4, .input = true}),
				"property_changed(Trig, \"closed\", 4, "
				"input)"));
}

TEST_F(PortSettingsTest, ADisabledInputStillNotifiesTrig)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	port->enabled = false;
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, true));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_reset_filter(IOPort)",
				"property_changed(Trig, \"open\", 1, input)"));
}

TEST_F(PortSettingsTest, TheInputLevelOfAnOutputIsOnlyStored)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	port->direction = false;
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, true));
	EXPECT_TRUE(port->input_activelow);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_reset_filter(IOPort)"));
}

TEST_F(PortSettingsTest, TheInputLevelOfAPortThatIsNotSetUpIsOnlyStored)
{
	const PortRef port = make_port(PORT_INPUT);
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, true));
	EXPECT_TRUE(port->input_activelow);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSettingsTest, AnActiveOutputStaysActiveAndItsLineFlips)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	level_of(port) = 1;
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("io_event_reset_filter(IOPort)",
			    "full.set_state(p, 0)",
			    "io_event_send_event(p, IOPort, 1)",
			    port_changed({.state = true, .activelow = true}),
			    "property_changed(Active, \"open\", 1, output)"));
	EXPECT_EQ(io_port_get_state(port.get()), 1);
	EXPECT_TRUE(is_unlocked(port));
}

TEST_F(PortSettingsTest, AnInactiveOutputStaysInactiveAndItsLineFlips)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("full.set_state(p, 1)",
			    port_changed({.state = false, .activelow = true}),
			    "property_changed(Active, \"open\", 1, output)"));
	EXPECT_EQ(io_port_get_state(port.get()), 0);
}

TEST_F(PortSettingsTest, AnOutputThatClosesAgainKeepsItsState)
{
	for (const int state : {0, 1}) {
		const PortRef port = make_port(PORT_OUTPUT);
		port->output_activelow = true;
		level_of(port) = 1 - state;
		ASSERT_TRUE(io_port_setup(port.get()));
		recorder::reset();
		EXPECT_TRUE(io_port_set_activelow(port.get(), false, false));
		EXPECT_EQ(level_of(port), state);
		EXPECT_EQ(io_port_get_state(port.get()), state);
		EXPECT_EQ(recorder::calls().back(),
			  "property_changed(Active, \"closed\", 1, output)");
	}
}

TEST_F(PortSettingsTest, AnUnknownLevelAboveZeroCountsAsHigh)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	level_of(port) = 2;
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_EQ(level_of(port), 0);
}

TEST_F(PortSettingsTest, ADisabledOutputIsRewrittenAndNotifiesActive)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	port->enabled = false;
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("io_event_reset_filter(IOPort)",
			    "full.set_state(p, 1)",
			    "property_changed(Active, \"open\", 1, output)"));
}

TEST_F(PortSettingsTest, TheOutputLevelOfAnInputIsOnlyStored)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_TRUE(port->output_activelow);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSettingsTest, TheOutputLevelOfAPortThatIsNotSetUpIsOnlyStored)
{
	const PortRef port = make_port(PORT_OUTPUT);
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_TRUE(port->output_activelow);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSettingsTest, EveryEventsFilterIsReset)
{
	const PortRef port = make_port(PORT_INPUT);
	add_event(port, "second");
	add_event(port, "first");
	io_port_reset_event_filters(port.get());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_reset_filter(first)",
				"io_event_reset_filter(second)"));
}

TEST_F(PortSettingsDeathTest, TheActiveLevelOfNoPort)
{
	EXPECT_DEATH(io_port_get_activelow(nullptr, true),
		     "ERROR:ioport\\.c:[0-9]+:io_port_get_activelow: assertion "
		     "failed: \\(ioport\\)");
	EXPECT_DEATH(io_port_set_activelow(nullptr, true, true),
		     "ERROR:ioport\\.c:[0-9]+:io_port_set_activelow: assertion "
		     "failed: \\(ioport\\)");
}

TEST_F(PortSettingsDeathTest, TheEventFiltersOfNoPort)
{
	EXPECT_DEATH(io_port_reset_event_filters(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_reset_event_filters: "
		     "'ioport' should not be NULL");
}

// ---- Direction ----

TEST_F(PortSettingsTest, OnlyAConfigurablePortChangesItsDirection)
{
	const PortRef input = make_set_up_port(PORT_INPUT);
	EXPECT_FALSE(io_port_set_direction(input.get(), false));
	EXPECT_TRUE(input->direction);
	const PortRef output = make_set_up_port(PORT_OUTPUT);
	EXPECT_FALSE(io_port_set_direction(output.get(), true));
	EXPECT_FALSE(output->direction);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSettingsTest, APortThatBecomesAnInputIsWatched)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	add_event(port, "out")->for_input = false;
	add_event(port, "in")->for_output = false;
	level_of(port) = 1;
	EXPECT_TRUE(io_port_set_direction(port.get(), true));
	EXPECT_TRUE(port->direction);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_direction(p, 1)", "full.set_watch(p)",
				"io_event_declare_event(p, in)",
				"io_event_undeclare_event(out)",
				"io_event_send_event(p, in, 1)",
				port_changed({.input = true, .state = true}),
				"property_changed(Direction, \"input\", 1, "
				"port)"));
	EXPECT_TRUE(is_unlocked(port));
}

TEST_F(PortSettingsTest, APortThatBecomesAnOutputIsNotWatched)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->output_activelow = true;
	add_event(port, "out")->for_input = false;
	add_event(port, "in")->for_output = false;
	EXPECT_TRUE(io_port_set_direction(port.get(), false));
	EXPECT_FALSE(port->direction);
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("full.set_direction(p, 0)",
			    "io_event_undeclare_event(in)",
			    "io_event_declare_event(p, out)",
			    "io_event_send_event(p, out, 1)",
			    port_changed({.state = true, .activelow = true}),
			    "property_changed(Direction, \"output\", 1, "
			    "port)"));
}

TEST_F(PortSettingsTest, ADisabledPortChangesItsDirectionInSilence)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	port->enabled = false;
	EXPECT_TRUE(io_port_set_direction(port.get(), true));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_direction(p, 1)",
				"io_event_declare_event(p, IOPort)",
				"property_changed(Direction, \"input\", 1, "
				"port)"));
}

TEST_F(PortSettingsTest, AnUnchangedDirectionIsAppliedAgain)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	EXPECT_TRUE(io_port_set_direction(port.get(), true));
	EXPECT_EQ(recorder::count("full.set_direction(p, 1)"), 1U);
	EXPECT_EQ(recorder::count("property_changed(Direction"), 1U);
}

TEST_F(PortSettingsTest, ABackendThatCannotSwitchDoesNotStopTheChange)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	IOPortFunctions table;
	use_table(port, &table);
	table.set_direction = [](IOPort *, bool) { return false; };
	EXPECT_TRUE(io_port_set_direction(port.get(), false));
	EXPECT_FALSE(port->direction);
	EXPECT_EQ(recorder::count("property_changed(Direction, \"output\""),
		  1U);
}

TEST_F(PortSettingsTest, TheDirectionOfAPortThatIsNotSetUpIsOnlyStored)
{
	const PortRef port = make_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_direction(port.get(), false));
	EXPECT_FALSE(port->direction);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_TRUE(is_unlocked(port));
}

TEST_F(PortSettingsDeathTest, TheDirectionOfNoPort)
{
	EXPECT_DEATH(io_port_set_direction(nullptr, true),
		     "ERROR:ioport\\.c:[0-9]+:io_port_set_direction: assertion "
		     "failed: \\(ioport\\)");
}

// ---- Enabling ----

TEST_F(PortSettingsTest, DisablingWithdrawsEveryEvent)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "second")->for_input = false;
	add_event(port, "first");
	io_port_set_enabled(port.get(), false);
	EXPECT_FALSE(port->enabled);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_undeclare_event(first)",
				"io_event_undeclare_event(second)"));
}

TEST_F(PortSettingsTest, EnablingDeclaresEveryEvent)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "second")->for_input = false;
	add_event(port, "first");
	port->enabled = false;
	io_port_set_enabled(port.get(), true);
	EXPECT_TRUE(port->enabled);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_declare_event(p, first)",
				"io_event_declare_event(p, second)"));
}

TEST_F(PortSettingsTest, EnablingAnEnabledPortDoesNothing)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	io_port_set_enabled(port.get(), true);
	port->enabled = false;
	io_port_set_enabled(port.get(), false);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSettingsTest, APortCanBeEnabledBeforeItIsSetUp)
{
	const PortRef port = make_port(PORT_INPUT);
	add_event(port, "IOPort");
	io_port_set_enabled(port.get(), false);
	io_port_set_enabled(port.get(), true);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_undeclare_event(IOPort)",
				"io_event_declare_event(p, IOPort)"));
}

} // namespace
