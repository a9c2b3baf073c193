// The texts and numbers that a port keeps for its users: names, usage, mode
// and delay.

#include "ioport/port-settings.h"

#include "log-capture.h"
#include "port-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortNamesTest = PortTest;

PortRef make_named_port(IOPortType type)
{
	PortRef port = make_set_up_port(type);
	port->input_name = "in";
	port->output_name = "out";
	return port;
}

TEST_F(PortNamesTest, AnInputGivesItsInputNameOnly)
{
	const PortRef port = make_named_port(PORT_INPUT);
	std::optional<std::string> input = "before";
	std::optional<std::string> output = "before";
	io_port_get_names(port.get(), &input, &output);
	EXPECT_EQ(input, "in");
	EXPECT_EQ(output, "before");
}

TEST_F(PortNamesTest, AnOutputGivesItsOutputNameOnly)
{
	const PortRef port = make_named_port(PORT_OUTPUT);
	std::optional<std::string> input = "before";
	std::optional<std::string> output = "before";
	io_port_get_names(port.get(), &input, &output);
	EXPECT_EQ(input, "before");
	EXPECT_EQ(output, "out");
}

TEST_F(PortNamesTest, AConfigurablePortGivesBothNames)
{
	const PortRef port = make_named_port(PORT_IO_CTRL);
	std::optional<std::string> input;
	std::optional<std::string> output;
	io_port_get_names(port.get(), &input, &output);
	EXPECT_EQ(input, "in");
	EXPECT_EQ(output, "out");
}

TEST_F(PortNamesTest, NoPortGivesNoNames)
{
	std::optional<std::string> input = "before";
	std::optional<std::string> output = "before";
	io_port_get_names(nullptr, &input, &output);
	EXPECT_EQ(input, "before");
	EXPECT_EQ(output, "before");
}

TEST_F(PortNamesTest, TheNameIsThatOfTheSideThatThePortIsOn)
{
	EXPECT_EQ(io_port_get_name(make_named_port(PORT_INPUT).get()), "in");
	EXPECT_EQ(io_port_get_name(make_named_port(PORT_OUTPUT).get()), "out");
	const PortRef port = make_named_port(PORT_IO_CTRL);
	EXPECT_EQ(io_port_get_name(port.get()), "in");
	port->direction = false;
	EXPECT_EQ(io_port_get_name(port.get()), "out");
	port->output_name.reset();
	EXPECT_EQ(io_port_get_name(port.get()), std::nullopt);
}

TEST_F(PortNamesTest, APortOfAnUnknownTypeHasNoName)
{
	const PortRef port = make_named_port(static_cast<IOPortType>(3));
	EXPECT_EQ(io_port_get_name(port.get()), std::nullopt);
}

TEST_F(PortNamesTest, TheNameOfNoPortIsWarnedAbout)
{
	const LogCapture log;
	EXPECT_EQ(io_port_get_name(nullptr), std::nullopt);
	EXPECT_THAT(log.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("io_port_get_name: assertion 'ioport != NULL' "
				"failed"));
}

TEST_F(PortNamesTest, ANewInputNameIsNotifiedAndEventsDeclaredAgain)
{
	const PortRef port = make_named_port(PORT_INPUT);
	add_event(port, "second");
	add_event(port, "first");
	EXPECT_TRUE(io_port_set_input_name(port.get(), "Door"));
	EXPECT_EQ(port->input_name, "Door");
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Name, \"Door\", 1, input)",
				"io_event_redeclare_port(p, first)",
				"io_event_redeclare_port(p, second)"));
}

TEST_F(PortNamesTest, ANewOutputNameIsNotifiedAndEventsDeclaredAgain)
{
	const PortRef port = make_named_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_output_name(port.get(), "Lamp"));
	EXPECT_EQ(port->output_name, "Lamp");
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Name, \"Lamp\", 1, output)",
				"io_event_redeclare_port(p, IOPort)"));
}

TEST_F(PortNamesTest, ANameForTheSideThatIsNotThereIsRefused)
{
	const PortRef input = make_named_port(PORT_INPUT);
	EXPECT_FALSE(io_port_set_output_name(input.get(), "Lamp"));
	EXPECT_EQ(input->output_name, "out");
	const PortRef output = make_named_port(PORT_OUTPUT);
	EXPECT_FALSE(io_port_set_input_name(output.get(), "Door"));
	EXPECT_EQ(output->input_name, "in");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortNamesTest, NoPortTakesNoName)
{
	EXPECT_FALSE(io_port_set_input_name(nullptr, "Door"));
	EXPECT_FALSE(io_port_set_output_name(nullptr, "Lamp"));
}

TEST_F(PortNamesTest, AnEqualNameSucceedsInSilence)
{
	const PortRef port = make_named_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_input_name(port.get(), "in"));
	EXPECT_TRUE(io_port_set_output_name(port.get(), "out"));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortNamesTest, AnEmptyNameIsNotTheSameAsNone)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	EXPECT_TRUE(io_port_set_input_name(port.get(), ""));
	EXPECT_EQ(port->input_name, "");
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Name, \"\", 1, input)"));
}

TEST_F(PortNamesTest, RenamingThePresentSideDeclaresEventsAgain)
{
	const PortRef port = make_named_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_input_name(port.get(), "Door"));
	port->direction = false;
	EXPECT_TRUE(io_port_set_output_name(port.get(), "Lamp"));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Name, \"Door\", 1, input)",
				"io_event_redeclare_port(p, IOPort)",
				"property_changed(Name, \"Lamp\", 1, output)",
				"io_event_redeclare_port(p, IOPort)"));
}

TEST_F(PortNamesTest, RenamingTheOtherSideLeavesTheEventsAlone)
{
	const PortRef port = make_named_port(PORT_IO_CTRL);
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_output_name(port.get(), "Lamp"));
	port->direction = false;
	EXPECT_TRUE(io_port_set_input_name(port.get(), "Door"));
	EXPECT_EQ(port->input_name, "Door");
	EXPECT_EQ(port->output_name, "Lamp");
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Name, \"Lamp\", 1, output)",
				"property_changed(Name, \"Door\", 1, input)"));
}

TEST_F(PortNamesTest, TheDirectionOfAFixedPortDoesNotMatterToItsName)
{
	const PortRef port = make_named_port(PORT_INPUT);
	port->direction = false;
	add_event(port, "IOPort");
	EXPECT_TRUE(io_port_set_input_name(port.get(), "Door"));
	EXPECT_EQ(recorder::count("io_event_redeclare_port"), 1U);
}

// ---- Usage ----

TEST_F(PortNamesTest, ANewUsageIsNotified)
{
	const PortRef port = make_set_up_port(PORT_INPUT, 3);
	EXPECT_TRUE(io_port_set_usage(port.get(), "Gate"));
	EXPECT_EQ(io_port_get_usage(port.get()), "Gate");
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Usage, \"Gate\", 3, port)"));
}

TEST_F(PortNamesTest, AnUnchangedUsageIsNotNotified)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	EXPECT_TRUE(io_port_set_usage(port.get(), ""));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(PortNamesTest, NoPortTakesNoUsage)
{
	EXPECT_FALSE(io_port_set_usage(nullptr, "Gate"));
}

TEST_F(PortNamesTest, TheUsageOfNoPortIsWarnedAbout)
{
	const LogCapture log;
	EXPECT_EQ(io_port_get_usage(nullptr), std::nullopt);
	EXPECT_THAT(log.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("io_port_get_usage: assertion 'ioport != NULL' "
				"failed"));
}

// ---- Mode, delay and the like ----

TEST_F(PortNamesTest, TheModeIsMonostableOrBistable)
{
	const PortRef port = make_port(PORT_OUTPUT);
	EXPECT_TRUE(io_port_set_mode(port.get(), PORT_MODE_MONOSTABLE));
	EXPECT_EQ(io_port_get_mode(port.get()), PORT_MODE_MONOSTABLE);
	EXPECT_TRUE(io_port_set_mode(port.get(), PORT_MODE_BISTABLE));
	EXPECT_EQ(io_port_get_mode(port.get()), PORT_MODE_BISTABLE);
}

TEST_F(PortNamesTest, AnInvalidModeIsNotStored)
{
	const PortRef port = make_port(PORT_OUTPUT);
	for (const int mode : {0, 3, -1, G_MAXINT}) {
		EXPECT_FALSE(io_port_set_mode(port.get(), mode)) << mode;
		EXPECT_EQ(io_port_get_mode(port.get()), PORT_MODE_BISTABLE);
	}
}

TEST_F(PortNamesTest, AnyDelayIsStored)
{
	const PortRef port = make_port(PORT_OUTPUT);
	for (const gint32 delay : {500, 0, -1, G_MAXINT32, G_MININT32}) {
		io_port_set_delay_time(port.get(), delay);
		EXPECT_EQ(io_port_get_delay_time(port.get()), delay);
	}
}

TEST_F(PortNamesTest, NoPortHasMode0AndDelayMinus1)
{
	EXPECT_EQ(io_port_get_mode(nullptr), 0);
	EXPECT_EQ(io_port_get_delay_time(nullptr), -1);
}

TEST_F(PortNamesTest, TheSpareAttributeIgnores0)
{
	const PortRef port = make_port(PORT_OUTPUT);
	io_port_set_reserved(port.get(), 7);
	io_port_set_reserved(port.get(), 0);
	EXPECT_EQ(io_port_get_reserved(port.get()), 7);
}

TEST_F(PortNamesTest, ThePropertyIoportMakesARealPort)
{
	const PortRef port = make_port(PORT_OUTPUT);
	EXPECT_FALSE(io_port_get_ioport(port.get()));
	io_port_add_property(port.get(), "ioport", "true");
	EXPECT_TRUE(io_port_get_ioport(port.get()));
}

} // namespace
