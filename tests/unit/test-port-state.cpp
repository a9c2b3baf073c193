#include "ioport/port-state.h"

#include "log-capture.h"
#include "port-fixture.h"

#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortStateTest = PortTest;
using PortStateDeathTest = PortTest;

constexpr auto kUnknownType = static_cast<IOPortType>(3);

// ---- Which side a port is on ----

TEST_F(PortStateTest, InputsAndConfigurablePortsOnThatSideAreInputs)
{
	const PortRef port = make_port(PORT_INPUT);
	EXPECT_TRUE(io_port_input(port.get()));
	port->direction = false;
	EXPECT_TRUE(io_port_input(port.get())) << "the type decides";
	port->type = PORT_OUTPUT;
	port->direction = true;
	EXPECT_FALSE(io_port_input(port.get())) << "the type decides";
	port->type = PORT_IO_CTRL;
	EXPECT_TRUE(io_port_input(port.get()));
	port->direction = false;
	EXPECT_FALSE(io_port_input(port.get()));
}

TEST_F(PortStateTest, APortOfAnUnknownTypeIsNoInput)
{
	const PortRef port = make_port(kUnknownType);
	EXPECT_FALSE(io_port_input(port.get()));
}

TEST_F(PortStateTest, TheDirectionNeedsNoBackend)
{
	const PortRef port = PortRef::adopt(io_port_new());
	EXPECT_TRUE(io_port_direction_input(port.get()));
	port->type = PORT_OUTPUT;
	EXPECT_FALSE(io_port_direction_input(port.get()));
	port->type = PORT_IO_CTRL;
	EXPECT_TRUE(io_port_direction_input(port.get()));
	port->direction = false;
	EXPECT_FALSE(io_port_direction_input(port.get()));
}

TEST_F(PortStateDeathTest, AskingAPortWithoutABackendWhetherItIsAnInput)
{
	const PortRef port = PortRef::adopt(io_port_new());
	EXPECT_DEATH(io_port_input(port.get()),
		     "ERROR:ioport\\.c:[0-9]+:io_port_input: assertion failed: "
		     "\\(port->functions != NULL\\)");
}

TEST_F(PortStateDeathTest, AskingNoPortForItsDirection)
{
	EXPECT_DEATH(io_port_direction_input(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_direction_input: "
		     "assertion failed: \\(ioport\\)");
}

TEST_F(PortStateDeathTest, AnUnknownTypeHasNoDirection)
{
	const PortRef port = make_port(kUnknownType);
	EXPECT_DEATH(io_port_direction_input(port.get()),
		     "ERROR:ioport\\.c:[0-9]+:io_port_direction_input: code "
		     "should not be reached");
}

// ---- Reading ----

TEST_F(PortStateTest, APortThatIsNotSetUpReadsInactive)
{
	const PortRef port = make_port(PORT_INPUT);
	level_of(port) = 1;
	EXPECT_EQ(io_port_get_state(port.get()), 0);
	port->input_activelow = true;
	level_of(port) = 0;
	EXPECT_EQ(io_port_get_state(port.get()), 0);
}

TEST_F(PortStateTest, TheStateIsTheLevelInvertedByTheActiveLevel)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	for (const int level : {0, 1}) {
		level_of(port) = level;
		port->input_activelow = false;
		EXPECT_EQ(io_port_get_state(port.get()), level);
		port->input_activelow = true;
		EXPECT_EQ(io_port_get_state(port.get()), 1 - level);
	}
}

TEST_F(PortStateTest, TheActiveLevelOfTheSideThatThePortIsOnCounts)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	level_of(port) = 1;
	port->input_activelow = true;
	EXPECT_EQ(io_port_get_state(port.get()), 0);
	port->direction = false;
	EXPECT_EQ(io_port_get_state(port.get()), 1);
	port->output_activelow = true;
	EXPECT_EQ(io_port_get_state(port.get()), 0);
	port->direction = true;
	port->input_activelow = false;
	EXPECT_EQ(io_port_get_state(port.get()), 1);
}

TEST_F(PortStateTest, AnUnknownLevelReadsInactiveWhateverTheActiveLevel)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	for (const int level : {2, 3, G_MAXINT, -1}) {
		level_of(port) = level;
		port->input_activelow = false;
		EXPECT_EQ(io_port_get_state(port.get()), 0) << level;
		port->input_activelow = true;
		EXPECT_EQ(io_port_get_state(port.get()), 0) << level;
	}
}

TEST_F(PortStateDeathTest, ReadingNoPort)
{
	EXPECT_DEATH(io_port_get_state(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_get_state: assertion "
		     "failed: \\(ioport\\)");
}

// ---- Writing an output ----

TEST_F(PortStateTest, AWriteDrivesTheLineThenSendsEventsThenTheSignal)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "second");
	add_event(port, "first");
	EXPECT_TRUE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_state(p, 1)",
				"io_event_send_event(p, first, 1)",
				"io_event_send_event(p, second, 1)",
				port_changed({.state = true})));
}

TEST_F(PortStateTest, AnOpenActiveOutputIsDrivenLow)
{
	const PortRef port = make_port(PORT_OUTPUT);
	port->output_activelow = true;
	level_of(port) = 1;
	ASSERT_TRUE(io_port_setup(port.get()));
	recorder::reset();
	EXPECT_TRUE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("full.set_state(p, 0)",
			    port_changed({.state = true, .activelow = true})));
	EXPECT_EQ(io_port_get_state(port.get()), 1);
}

TEST_F(PortStateTest, AWriteThatChangesNothingIsNotAnnounced)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_state(port.get(), 0));
	EXPECT_THAT(recorder::calls(), ElementsAre("full.set_state(p, 0)"));
}

TEST_F(PortStateTest, AnyOtherStateThan0IsActive)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(io_port_set_state(port.get(), 5));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_state(p, 1)",
				port_changed({.state = true})));
}

TEST_F(PortStateTest, ADisabledOutputIsDrivenInSilence)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	port->enabled = false;
	EXPECT_TRUE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(recorder::calls(), ElementsAre("full.set_state(p, 1)"));
}

TEST_F(PortStateTest, TheSignalCarriesTheStateReadAfterTheEvents)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	recorder::set_hook([&port](const std::string &line) {
		if (line.starts_with("io_event_send_event"))
			level_of(port) = 0;
	});
	EXPECT_TRUE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_state(p, 1)",
				"io_event_send_event(p, IOPort, 1)",
				port_changed({.state = false})));
}

TEST_F(PortStateTest, AConfigurablePortIsDrivenWhileItIsAnOutput)
{
	const LogCapture log;
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	EXPECT_FALSE(io_port_set_state(port.get(), 1));
	port->direction = false;
	EXPECT_TRUE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(log.warnings(), ElementsAre("Set state on incorrect port"));
}

TEST_F(PortStateTest, AWriteOnAnInputIsRefused)
{
	const LogCapture log;
	const PortRef port = make_set_up_port(PORT_INPUT);
	EXPECT_FALSE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_THAT(log.warnings(), ElementsAre("Set state on incorrect port"));
}

TEST_F(PortStateTest, AWriteOnAPortThatIsNotSetUpIsRefused)
{
	const LogCapture log;
	const PortRef port = make_port(PORT_OUTPUT);
	EXPECT_FALSE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_THAT(log.warnings(), ElementsAre("Set state on incorrect port"));
}

TEST_F(PortStateTest, AWriteOnAVirtualOutputIsRefused)
{
	const LogCapture log;
	const PortRef port = make_virtual_output();
	EXPECT_FALSE(io_port_set_state(port.get(), 1));
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_THAT(log.warnings(), ElementsAre("Set state on incorrect port"));
}

TEST_F(PortStateTest, AWriteIsMadeWithTheLockAndLeavesItFree)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	bool held = false;
	recorder::set_hook([&](const std::string &line) {
		if (!line.starts_with("full.set_state"))
			return;
		std::thread([&] {
			held = !port->lock.try_lock();
			if (!held)
				port->lock.unlock();
		}).join();
	});
	EXPECT_TRUE(io_port_set_state(port.get(), 1));
	EXPECT_TRUE(held);
	EXPECT_TRUE(port->lock.try_lock());
	port->lock.unlock();
}

TEST_F(PortStateTest, TheUncheckedWriteOfNoPortIsWarnedAbout)
{
	const LogCapture log;
	io_port_set_state_internal(nullptr, 1);
	EXPECT_THAT(log.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("io_port_set_state_internal: assertion "
				"'ioport != NULL' failed"));
}

TEST_F(PortStateDeathTest, WritingNoPort)
{
	EXPECT_DEATH(io_port_set_state(nullptr, 1),
		     "ERROR:ioport\\.c:[0-9]+:io_port_set_state: 'ioport' "
		     "should not be NULL");
}

// ---- Watching, and the event of all ports ----

TEST_F(PortStateTest, EnabledInputsAreWatched)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	io_port_set_watch(port.get());
	EXPECT_THAT(recorder::calls(), ElementsAre("full.set_watch(p)"));
}

TEST_F(PortStateTest, OutputsAndDisabledInputsAreNotWatched)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	io_port_set_watch(port.get());
	port->direction = true;
	port->enabled = false;
	io_port_set_watch(port.get());
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortStateDeathTest, WatchingNoPort)
{
	EXPECT_DEATH(io_port_set_watch(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_set_watch: assertion "
		     "failed: \\(port != NULL\\)");
}

TEST_F(PortStateTest, AnEnabledPortWithAPortAnyEventHasGotIt)
{
	const PortRef port = make_port(PORT_INPUT);
	EXPECT_FALSE(io_port_got_port_any(port.get()));
	port->events.emplace_front(new IOEvent);
	add_event(port, "portany");
	EXPECT_FALSE(io_port_got_port_any(port.get()));
	add_event(port, "PortAny");
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_got_port_any(port.get()));
	port->enabled = false;
	EXPECT_FALSE(io_port_got_port_any(port.get()));
}

TEST_F(PortStateDeathTest, AskingNoPortForPortAny)
{
	EXPECT_DEATH(io_port_got_port_any(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_got_port_any: assertion "
		     "failed: \\(port != NULL\\)");
}

} // namespace
