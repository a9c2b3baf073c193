// The one path by which a port's change reaches the outside world: simulated
// changes, those that a backend saw, the events and the signal.

#include "ioport/port-state.h"

#include "port-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortChangeTest = PortTest;
using PortChangeDeathTest = PortTest;

// ---- Simulated changes ----

TEST_F(PortChangeTest, ASimulatedChangeOfAnInputLeavesTheLineAlone)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_virtual(port.get(), 1));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, IOPort, 1)",
				port_changed({.input = true,
					      .virtual_trig = true,
					      .state = true})));
}

TEST_F(PortChangeTest, ASimulatedChangeOfARealOutputLeavesTheLineAlone)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(io_port_set_virtual(port.get(), 1));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre(port_changed(
			    {.virtual_trig = true, .state = true})));
}

TEST_F(PortChangeTest, AVirtualOutputTakesTheStateWithoutInversion)
{
	const PortRef port = make_virtual_output();
	add_event(port, "IOPort");
	port->output_activelow = true;
	EXPECT_TRUE(io_port_set_virtual(port.get(), 1));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("virtual.set_state(v, 1)",
				"io_event_send_event(v, IOPort, 1)",
				port_changed({.number = 5,
					      .virtual_trig = true,
					      .state = true,
					      .activelow = true})));
}

TEST_F(PortChangeTest, AVirtualInputKeepsItsLevel)
{
	const PortRef port = make_virtual_output();
	port->type = PORT_INPUT;
	EXPECT_TRUE(io_port_set_virtual(port.get(), 1));
	EXPECT_EQ(recorder::count("virtual.set_state"), 0U);
	EXPECT_EQ(recorder::count("iocontrol_emit_port_changed"), 1U);
}

TEST_F(PortChangeTest, ASimulatedStateIsAnnouncedEvenWhenItIsNotNew)
{
	const PortRef port = make_virtual_output();
	io_port_set_virtual(port.get(), 1);
	io_port_set_virtual(port.get(), 1);
	EXPECT_EQ(recorder::count("iocontrol_emit_port_changed"), 2U);
}

TEST_F(PortChangeTest, ASimulatedChangeOfADisabledPortSucceedsAndDoesNothing)
{
	const PortRef port = make_virtual_output();
	add_event(port, "IOPort");
	port->enabled = false;
	EXPECT_TRUE(io_port_set_virtual(port.get(), 1));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortChangeDeathTest, SimulatingAChangeOfNoPort)
{
	EXPECT_DEATH(io_port_set_virtual(nullptr, 1),
		     "ERROR:ioport\\.c:[0-9]+:io_port_set_virtual: assertion "
		     "failed: \\(ioport\\)");
}

// ---- Changes that a backend saw ----

TEST_F(PortChangeTest, ATriggerSendsEventsThenTheSignal)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	io_port_trigger(port.get(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, IOPort, 1)",
				port_changed({.input = true, .state = true})));
}

TEST_F(PortChangeTest, ATriggeredStateIsNotStored)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	io_port_trigger(port.get(), 1);
	EXPECT_EQ(io_port_get_state(port.get()), 0);
	EXPECT_EQ(recorder::count("full.set_state"), 0U);
}

TEST_F(PortChangeTest, ATriggerOfADisabledPortDoesNothing)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	port->enabled = false;
	io_port_trigger(port.get(), 1);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- Which events are sent ----

TEST_F(PortChangeTest, AnInputSendsItsEventsForInputs)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "output only")->for_input = false;
	add_event(port, "input only")->for_output = false;
	io_port_send_events(port.get(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, input only, 1)"));
}

TEST_F(PortChangeTest, AnOutputSendsItsEventsForOutputs)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "output only")->for_input = false;
	add_event(port, "input only")->for_output = false;
	io_port_send_events(port.get(), 0);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, output only, 0)"));
}

TEST_F(PortChangeTest, AConfigurablePortSendsTheEventsOfItsPresentSide)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	add_event(port, "output only")->for_input = false;
	add_event(port, "input only")->for_output = false;
	port->direction = false;
	io_port_send_events(port.get(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, output only, 1)"));
}

TEST_F(PortChangeTest, AnEventForSupervisedPortsNeedsASupervisedInput)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	IOEvent *event = add_event(port, "tampering");
	event->for_supervised = true;
	event->for_input = event->for_output = false;
	io_port_send_events(port.get(), 1);
	EXPECT_THAT(recorder::calls(), IsEmpty()) << "not supervised";
	port->supervised = true;
	io_port_send_events(port.get(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, tampering, 1)"));
	recorder::reset();
	port->direction = false;
	io_port_send_events(port.get(), 1);
	EXPECT_THAT(recorder::calls(), IsEmpty()) << "an output";
}

TEST_F(PortChangeTest, AnEventThatAppliesTwiceIsSentOnce)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	port->supervised = true;
	add_event(port, "both")->for_supervised = true;
	io_port_send_events(port.get(), 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_send_event(p, both, 1)"));
}

// ---- The signal ----

TEST_F(PortChangeTest, TheSignalCarriesThePropertiesOfThePort)
{
	const PortRef port = make_set_up_port(PORT_INPUT, 7);
	port->input_activelow = true;
	io_port_add_property(port.get(), "virtual", "true");
	io_port_send_signal(port.get(), true, 0);
	io_port_add_property(port.get(), "virtual", "false");
	io_port_add_property(port.get(), "hidden", "true");
	io_port_send_signal(port.get(), false, 1);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre(port_changed({.number = 7,
					      .virtual_port = true,
					      .input = true,
					      .virtual_trig = true,
					      .activelow = true}),
				port_changed({.number = 7,
					      .hidden = true,
					      .input = true,
					      .state = true,
					      .activelow = true})));
}

TEST_F(PortChangeTest, TheSignalOfAnOutputCarriesTheOutputsActiveLevel)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	port->input_activelow = true;
	io_port_send_signal(port.get(), false, 1);
	port->output_activelow = true;
	io_port_send_signal(port.get(), false, 1);
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre(port_changed({.state = true}),
			    port_changed({.state = true, .activelow = true})));
}

TEST_F(PortChangeTest, ADisabledPortSendsNoSignalEvenWithoutABackend)
{
	const PortRef port = PortRef::adopt(io_port_new());
	port->enabled = false;
	io_port_send_signal(port.get(), false, 1);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortChangeDeathTest, ASignalOfAPortWithoutABackend)
{
	const PortRef port = PortRef::adopt(io_port_new());
	EXPECT_DEATH(io_port_send_signal(port.get(), false, 1),
		     "ERROR:ioport\\.c:[0-9]+:io_port_send_signal: assertion "
		     "failed: \\(port->functions != NULL\\)");
}

} // namespace
