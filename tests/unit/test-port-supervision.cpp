#include "ioport/port-supervision.h"

#include "ioport/io-errors.h"
#include "ioport/port-settings.h"
#include "log-capture.h"
#include "port-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortSupervisionTest = PortTest;
using PortSupervisionDeathTest = PortTest;

constexpr const char *kNoBackend = "ERROR:ioport\\.c:[0-9]+:.*: "
				   "'port->functions' should not be NULL";

PortRef make_plain_port()
{
	PortRef port = PortRef::adopt(io_port_new());
	port->name = "p";
	io_port_set_backend(port.get(), BACKEND_CHECK);
	return port;
}

void expect_error(const util::Error &error, GQuark domain, int code,
		  const char *message)
{
	ASSERT_TRUE(error);
	EXPECT_EQ(error.get()->domain, domain);
	EXPECT_EQ(error.get()->code, code);
	EXPECT_STREQ(error.message(), message);
}

// ---- Whether a port can be supervised, and is ----

TEST_F(PortSupervisionTest, TheBackendDecidesWhetherAPortIsSupervisable)
{
	const PortRef port = make_port(PORT_INPUT);
	EXPECT_TRUE(io_port_is_supervisable(port.get()));
	fake_backends::data(port.get())->supervisable = false;
	EXPECT_FALSE(io_port_is_supervisable(port.get()));
}

TEST_F(PortSupervisionTest, ABackendThatDoesNotSayIsNotSupervisable)
{
	EXPECT_FALSE(io_port_is_supervisable(make_plain_port().get()));
}

TEST_F(PortSupervisionDeathTest, AskingNoPortWhetherItIsSupervisable)
{
	EXPECT_DEATH(io_port_is_supervisable(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_is_supervisable: 'port' "
		     "should not be NULL");
}

TEST_F(PortSupervisionTest, ASupervisedInputIsAnInputWithTheFlag)
{
	const PortRef port = make_port(PORT_IO_CTRL);
	EXPECT_FALSE(io_port_supervised_input(port.get()));
	port->supervised = true;
	EXPECT_TRUE(io_port_supervised_input(port.get()));
	port->direction = false;
	EXPECT_FALSE(io_port_supervised_input(port.get()));
	port->type = PORT_OUTPUT;
	port->direction = true;
	EXPECT_FALSE(io_port_supervised_input(port.get()));
}

TEST_F(PortSupervisionDeathTest, EveryOperationNeedsABackend)
{
	const PortRef port = PortRef::adopt(io_port_new());
	SupervisedRangeList *ranges = nullptr;
	SupervisedState state;
	guint32 level;
	EXPECT_DEATH(io_port_is_supervisable(port.get()), kNoBackend);
	EXPECT_DEATH(io_port_supervised_input(port.get()), kNoBackend);
	EXPECT_DEATH(io_port_get_supervised_ranges(port.get(), &ranges),
		     kNoBackend);
	EXPECT_DEATH(
		io_port_set_supervised_ranges(port.get(), nullptr, nullptr),
		kNoBackend);
	EXPECT_DEATH(
		io_port_add_supervised_range(port.get(), "cut", 1, 2, nullptr),
		kNoBackend);
	EXPECT_DEATH(io_port_set_supervised(port.get(), true), kNoBackend);
	EXPECT_DEATH(io_port_get_supervised_readout(port.get(), &state, &level,
						    nullptr),
		     kNoBackend);
	port->is_setup = true;
	EXPECT_DEATH(io_port_get_supervised_state(port.get()), kNoBackend);
}

// ---- Ranges ----

TEST_F(PortSupervisionTest, TheRangesAreThePortsOwn)
{
	const PortRef port = make_port(PORT_INPUT);
	SupervisedRangeList *ranges = nullptr;
	EXPECT_TRUE(io_port_get_supervised_ranges(port.get(), &ranges));
	EXPECT_EQ(ranges, &port->supervised_ranges);
}

TEST_F(PortSupervisionTest, APortThatIsNotSupervisableGivesNoRanges)
{
	const PortRef port = make_port(PORT_INPUT);
	fake_backends::data(port.get())->supervisable = false;
	SupervisedRangeList own;
	SupervisedRangeList *ranges = &own;
	EXPECT_FALSE(io_port_get_supervised_ranges(port.get(), &ranges));
	EXPECT_FALSE(io_port_get_supervised_ranges(make_plain_port().get(),
						   &ranges));
	EXPECT_EQ(ranges, &own) << "left alone";
}

TEST_F(PortSupervisionTest, ABackendWithoutRangesGivesAndTakesNone)
{
	const PortRef port = make_port(PORT_INPUT);
	IOPortFunctions table;
	use_table(port, &table);
	table.get_supervised_ranges = nullptr;
	table.set_supervised_ranges = nullptr;
	SupervisedRangeList *ranges = nullptr;
	SupervisedRangeList offered = {{SUPERVISED_OPEN, 2, 1}};
	util::Error error;
	EXPECT_FALSE(io_port_get_supervised_ranges(port.get(), &ranges));
	EXPECT_FALSE(
		io_port_set_supervised_ranges(port.get(), &offered, &error));
	EXPECT_FALSE(error);
	EXPECT_EQ(offered.size(), 1U);
}

TEST_F(PortSupervisionTest, NewRangesAreTakenOver)
{
	const PortRef port = make_port(PORT_INPUT);
	port->supervised_ranges = {{SUPERVISED_CUT, 9, 8}};
	SupervisedRangeList ranges = {{SUPERVISED_OPEN, 2, 1},
				      {SUPERVISED_CLOSED, 4, 3}};
	util::Error error;
	EXPECT_TRUE(io_port_set_supervised_ranges(port.get(), &ranges, &error));
	EXPECT_FALSE(error);
	EXPECT_THAT(ranges, IsEmpty());
	ASSERT_EQ(port->supervised_ranges.size(), 2U);
	EXPECT_EQ(port->supervised_ranges[0].state, SUPERVISED_OPEN);
	EXPECT_EQ(port->supervised_ranges[1].state, SUPERVISED_CLOSED);
}

TEST_F(PortSupervisionTest, RangesForAPortThatIsNotSupervisableAreRefused)
{
	const PortRef port = make_port(PORT_INPUT);
	fake_backends::data(port.get())->supervisable = false;
	SupervisedRangeList ranges = {{SUPERVISED_OPEN, 2, 1}};
	util::Error error;
	EXPECT_FALSE(
		io_port_set_supervised_ranges(port.get(), &ranges, &error));
	EXPECT_FALSE(error);
	EXPECT_EQ(ranges.size(), 1U);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortSupervisionTest, TheBackendsRefusalOfRangesIsPassedOn)
{
	const PortRef port = make_port(PORT_INPUT);
	port->supervised_ranges = {{SUPERVISED_CUT, 9, 8}};
	util::Error error;
	EXPECT_FALSE(
		io_port_set_supervised_ranges(port.get(), nullptr, &error));
	expect_error(error, io_supervised_error_quark(),
		     IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
		     "Ranges is null.");
	EXPECT_EQ(port->supervised_ranges.size(), 1U);
}

TEST_F(PortSupervisionDeathTest, AskingForRangesWithoutAPlaceForThem)
{
	const PortRef port = make_port(PORT_INPUT);
	EXPECT_DEATH(io_port_get_supervised_ranges(port.get(), nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_get_supervised_ranges: "
		     "'ranges' should not be NULL");
}

// ---- Switching supervision ----

TEST_F(PortSupervisionTest, SwitchingSetsTheFlagAndThenTheHardware)
{
	IOPortFunctions table;
	const PortRef port = make_set_up_port(PORT_INPUT);
	use_table(port, &table);
	table.set_supervised = [](IOPort *switched, bool on) {
		EXPECT_EQ(switched->supervised, on);
		recorder::note("switched to %d", on);
		return false;
	};
	EXPECT_TRUE(io_port_set_supervised(port.get(), true));
	EXPECT_TRUE(port->supervised);
	EXPECT_TRUE(io_port_set_supervised(port.get(), false));
	EXPECT_FALSE(port->supervised);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("switched to 1", "switched to 0"))
		<< "a fixed input has no direction to set";
}

TEST_F(PortSupervisionTest, APortThatIsNotSupervisableIsNotSwitched)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	fake_backends::data(port.get())->supervisable = false;
	EXPECT_FALSE(io_port_set_supervised(port.get(), true));
	EXPECT_FALSE(port->supervised);
	port->supervised = true;
	EXPECT_FALSE(io_port_set_supervised(port.get(), false));
	EXPECT_TRUE(port->supervised);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_FALSE(io_port_set_supervised(make_plain_port().get(), true));
}

TEST_F(PortSupervisionTest, AConfigurableInputIsSetToInputAgain)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	for (const bool on : {true, false}) {
		recorder::reset();
		EXPECT_TRUE(io_port_set_supervised(port.get(), on));
		EXPECT_THAT(
			recorder::calls(),
			ElementsAre(on ? "full.set_supervised(p, 1)"
				       : "full.set_supervised(p, 0)",
				    "full.set_direction(p, 1)",
				    "full.set_watch(p)",
				    port_changed({.number = 1, .input = true}),
				    "property_changed(Direction, \"input\", 1, "
				    "port)"));
	}
}

TEST_F(PortSupervisionTest, AConfigurableOutputStaysOneUnlessTheBackendSays)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	EXPECT_TRUE(io_port_set_supervised(port.get(), true));
	EXPECT_FALSE(port->direction);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_supervised(p, 1)"));
}

TEST_F(PortSupervisionTest, AnOutputThatTheBackendMakesAnInputIsSetToItAgain)
{
	IOPortFunctions table;
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	use_table(port, &table);
	table.set_supervised = [](IOPort *switched, bool) {
		return io_port_set_direction(switched, true);
	};
	EXPECT_TRUE(io_port_set_supervised(port.get(), true));
	EXPECT_TRUE(port->direction);
	EXPECT_EQ(recorder::count("full.set_direction(p, 1)"), 2U);
}

TEST_F(PortSupervisionTest, ABackendWithoutASwitchKeepsTheFlag)
{
	IOPortFunctions table;
	const PortRef port = make_set_up_port(PORT_INPUT);
	use_table(port, &table);
	table.set_supervised = nullptr;
	EXPECT_TRUE(io_port_set_supervised(port.get(), true));
	EXPECT_TRUE(port->supervised);
}

TEST_F(PortSupervisionTest, TheEventsAreDeclaredAgainInTheirOrder)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "second");
	add_event(port, "first");
	io_port_redeclare_events(port.get());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("io_event_redeclare_port(p, first)",
				"io_event_redeclare_port(p, second)"));
}

// ---- Measuring ----

TEST_F(PortSupervisionTest, AReadoutGivesMeaningAndLevel)
{
	const PortRef port = make_port(PORT_INPUT);
	fake_backends::data(port.get())->readout = SUPERVISED_SHORT;
	level_of(port) = 77;
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
	EXPECT_TRUE(io_port_get_supervised_readout(port.get(), &state, &level,
						   &error));
	EXPECT_FALSE(error);
	EXPECT_EQ(state, SUPERVISED_SHORT);
	EXPECT_EQ(level, 77U);
}

TEST_F(PortSupervisionTest, AReadoutOfABackendThatCannotMeasureFails)
{
	const PortRef port = make_plain_port();
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
	EXPECT_FALSE(io_port_get_supervised_readout(port.get(), &state, &level,
						    &error));
	expect_error(error, io_control_error_quark(), IO_CONTROL_ERROR_GENERIC,
		     "Not applicable for port.");
}

TEST_F(PortSupervisionTest, AReadoutOfAPortThatIsNotSupervisableFails)
{
	const PortRef port = make_port(PORT_INPUT);
	fake_backends::data(port.get())->supervisable = false;
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
	EXPECT_FALSE(io_port_get_supervised_readout(port.get(), &state, &level,
						    &error));
	expect_error(error, io_supervised_error_quark(),
		     IO_SUPERVISED_ERROR_NOT_SUPERVISED,
		     "Port is non-supervised");
}

TEST_F(PortSupervisionTest, AReadoutThatFailsInTheBackendPassesItsError)
{
	const PortRef port = make_port(PORT_INPUT);
	fake_backends::data(port.get())->readout_fails = true;
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
	EXPECT_FALSE(io_port_get_supervised_readout(port.get(), &state, &level,
						    &error));
	expect_error(error, io_supervised_error_quark(),
		     IO_SUPERVISED_ERROR_GENERIC,
		     "The line cannot be measured");
}

TEST_F(PortSupervisionTest, AReadoutNeedsNoPlaceForItsError)
{
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	EXPECT_FALSE(io_port_get_supervised_readout(make_plain_port().get(),
						    &state, &level, nullptr));
}

TEST_F(PortSupervisionDeathTest, AReadoutWithoutAPlaceForIt)
{
	const PortRef port = make_port(PORT_INPUT);
	SupervisedState state;
	guint32 level;
	EXPECT_DEATH(io_port_get_supervised_readout(port.get(), nullptr, &level,
						    nullptr),
		     "io_port_get_supervised_readout: 'state' should not be "
		     "NULL");
	EXPECT_DEATH(io_port_get_supervised_readout(port.get(), &state, nullptr,
						    nullptr),
		     "io_port_get_supervised_readout: 'level' should not be "
		     "NULL");
}

// ---- What the line means ----

TEST_F(PortSupervisionTest, TheStateIsWhatTheLineMeans)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	fake_backends::data(port.get())->readout = SUPERVISED_CUT;
	EXPECT_EQ(io_port_get_supervised_state(port.get()), SUPERVISED_CUT);
}

TEST_F(PortSupervisionTest, APortThatIsNotSetUpIsOpen)
{
	const PortRef port = make_port(PORT_INPUT);
	fake_backends::data(port.get())->readout = SUPERVISED_CUT;
	EXPECT_EQ(io_port_get_supervised_state(port.get()), SUPERVISED_OPEN);
}

TEST_F(PortSupervisionTest, APortThatIsNotSupervisableIsOpen)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	fake_backends::data(port.get())->readout = SUPERVISED_CUT;
	fake_backends::data(port.get())->supervisable = false;
	EXPECT_EQ(io_port_get_supervised_state(port.get()), SUPERVISED_OPEN);
}

TEST_F(PortSupervisionTest, ALineThatCannotBeMeasuredIsUndefined)
{
	const LogCapture log;
	const PortRef port = make_set_up_port(PORT_INPUT);
	fake_backends::data(port.get())->readout_fails = true;
	EXPECT_EQ(io_port_get_supervised_state(port.get()),
		  SUPERVISED_UNDEFINED);
	EXPECT_THAT(log.warnings(),
		    ElementsAre("Failed to read supervised state: The line "
				"cannot be measured."));
}

TEST_F(PortSupervisionTest, ALineThatCannotBeMeasuredDoesNotFloodTheLog)
{
	const LogCapture log;
	const PortRef port = make_set_up_port(PORT_INPUT);
	fake_backends::data(port.get())->readout_fails = true;
	for (int round = 0; round < 1000; ++round)
		io_port_get_supervised_state(port.get());
	EXPECT_THAT(log.warnings(), testing::SizeIs(testing::Le(3U)));
}

TEST_F(PortSupervisionDeathTest, TheStateOfNoPort)
{
	EXPECT_DEATH(io_port_get_supervised_state(nullptr),
		     "ERROR:ioport\\.c:[0-9]+:io_port_get_supervised_state: "
		     "'ioport' should not be NULL");
}

TEST_F(PortSupervisionTest, TheSupportedStatesAreAppendedWhateverThePort)
{
	std::vector<std::string> states = {"before"};
	EXPECT_TRUE(
		io_port_get_supported_states(make_plain_port().get(), &states));
	EXPECT_THAT(states,
		    ElementsAre("before", "closed", "open", "short", "cut"));
}

} // namespace
