#include "main/conf-elements.h"

#include "conf-fixture.h"
#include "ioport/port-settings.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kNumberWarning =
	"You have a port with higher number than FIRST_VIRTUAL_PORT this "
	"might lead to unexpected behaviour";

using ConfElementTest = ConfTest;

TEST_F(ConfElementTest, OptionalIsExactlyTrue)
{
	EXPECT_TRUE(read("<port name=\"a\" optional=\"true\"/>"));
	EXPECT_TRUE(newest()->optional);
	for (const char *word : {"TRUE", "True", "1", "yes", "", "false"}) {
		read(std::string("<port name=\"a\" optional=\"") + word +
		     "\"/>");
		EXPECT_FALSE(newest()->optional) << word;
	}
}

TEST_F(ConfElementTest, TheLastOfTwoOptionalWordsCounts)
{
	read("<port name=\"a\" optional=\"true\" optional=\"no\"/>");
	EXPECT_FALSE(newest()->optional);
}

TEST_F(ConfElementTest, AnElementWithoutAttributesStillMakesAPort)
{
	EXPECT_TRUE(read("<port/>"));
	EXPECT_THAT(port_names(), ElementsAre("-"));
	EXPECT_EQ(newest()->number, -1);
}

struct TypeRow {
	const char *word;
	IOPortType type;
	bool direction;
};

class PortTypeTest : public ConfTest,
		     public testing::WithParamInterface<TypeRow>
{
};

TEST_P(PortTypeTest, SetsTypeAndDirection)
{
	const PortRef port = port_with(std::string("<port_type type=\"") +
				       GetParam().word + "\"/>");
	EXPECT_EQ(port->type, GetParam().type);
	EXPECT_EQ(port->direction, GetParam().direction);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Words, PortTypeTest,
			 testing::Values(TypeRow{"input", PORT_INPUT, true},
					 TypeRow{"output", PORT_OUTPUT, false},
					 TypeRow{"io_ctrl", PORT_IO_CTRL,
						 true}));

TEST_F(ConfElementTest, AConfigurablePortKeepsTheDirectionItHad)
{
	const PortRef port = port_with("<port_type type=\"output\"/>"
				       "<port_type type=\"io_ctrl\"/>");
	EXPECT_EQ(port->type, PORT_IO_CTRL);
	EXPECT_FALSE(port->direction);
}

TEST_F(ConfElementTest, AnInputIsAnInputWhateverItWasBefore)
{
	EXPECT_TRUE(port_with("<port_type type=\"output\"/>"
			      "<port_type type=\"input\"/>")
			    ->direction);
}

class UnknownPortTypeTest : public ConfTest,
			    public testing::WithParamInterface<const char *>
{
};

TEST_P(UnknownPortTypeTest, IsCriticalAndKeepsTheType)
{
	const PortRef port = port_with(std::string("<port_type type=\"") +
				       GetParam() + "\"/>");
	EXPECT_EQ(port->type, PORT_INPUT);
	EXPECT_THAT(log_.messages(),
		    ElementsAre(LogCapture::Message{
			    G_LOG_LEVEL_CRITICAL,
			    std::string("Unsupported port type ") + GetParam() +
				    "\n"}));
}

INSTANTIATE_TEST_SUITE_P(Words, UnknownPortTypeTest,
			 testing::Values("", "Input", "INPUT", "input ",
					 "io-ctrl", "%s%n"));

TEST_F(ConfElementTest, AnUnknownPortTypeResetsTheDirectionFromTheType)
{
	EXPECT_TRUE(port_with("<param_defaults dir=\"output\"/>"
			      "<port_type type=\"x\"/>")
			    ->direction);
	EXPECT_FALSE(port_with("<port_type type=\"output\"/>"
			       "<param_defaults dir=\"input\"/>"
			       "<port_type type=\"x\"/>")
			     ->direction);
	EXPECT_FALSE(port_with("<port_type type=\"io_ctrl\"/>"
			       "<param_defaults dir=\"output\"/>"
			       "<port_type type=\"x\"/>")
			     ->direction);
}

TEST_F(ConfElementTest, EveryAttributeOfPropertiesIsAProperty)
{
	const PortRef port =
		port_with("<properties ioport=\"true\" virtual=\"TRUE\" "
			  "hidden=\"yes\" other=\"\" name=\"True\"/>");
	EXPECT_TRUE(io_port_get_property(port.get(), "ioport"));
	EXPECT_TRUE(io_port_get_property(port.get(), "virtual"));
	EXPECT_TRUE(io_port_get_property(port.get(), "name"));
	bool value = true;
	EXPECT_TRUE(io_port_lookup_property(port.get(), "hidden", &value));
	EXPECT_FALSE(value);
	EXPECT_TRUE(io_port_lookup_property(port.get(), "other", &value));
	EXPECT_FALSE(value);
	EXPECT_FALSE(io_port_lookup_property(port.get(), "absent", &value));
}

TEST_F(ConfElementTest, TheLastOfTwoEqualPropertiesCounts)
{
	EXPECT_FALSE(
		io_port_get_property(port_with("<properties ioport=\"true\"/>"
					       "<properties ioport=\"false\"/>")
					     .get(),
				     "ioport"));
}

struct NumberRow {
	const char *text;
	int number;
};

class NumberTest : public ConfTest,
		   public testing::WithParamInterface<NumberRow>
{
};

TEST_P(NumberTest, IsReadAsDecimalAndWraps)
{
	const std::string attribute =
		std::string(" nbr=\"") + GetParam().text + "\"/>";
	const PortRef port = port_with("<port_no" + attribute +
				       "<first_virtual_input" + attribute);
	EXPECT_EQ(port->number, GetParam().number);
	EXPECT_EQ(virtual_input_get_first_port_no(), GetParam().number);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
	Numbers, NumberTest,
	testing::Values(
		NumberRow{"0", 0}, NumberRow{"7", 7}, NumberRow{"007", 7},
		NumberRow{" 7", 7}, NumberRow{"7x", 7}, NumberRow{"-5", -5},
		NumberRow{"x", 0}, NumberRow{"", 0}, NumberRow{"0x10", 0},
		NumberRow{"1,5", 1}, NumberRow{"2147483647", G_MAXINT32},
		NumberRow{"2147483648", G_MININT32}, NumberRow{"4294967299", 3},
		NumberRow{"99999999999999999999", -1},
		NumberRow{"-99999999999999999999", 0}));

TEST_F(ConfElementTest, ASecondNumberAfterALargeOneIsWarnedOf)
{
	EXPECT_EQ(port_with("<port_no nbr=\"7\"/><port_no nbr=\"2\"/>")->number,
		  2);
	EXPECT_THAT(log_.messages(),
		    ElementsAre(LogCapture::Message{G_LOG_LEVEL_WARNING,
						    kNumberWarning}));
}

TEST_F(ConfElementTest, TheWarningStartsAtSix)
{
	port_with("<port_no nbr=\"5\"/><port_no nbr=\"9\"/>");
	EXPECT_THAT(log_.messages(), IsEmpty());
	port_with("<port_no nbr=\"6\"/><port_no nbr=\"1\"/>"
		  "<port_no nbr=\"6\"/>");
	EXPECT_THAT(log_.warnings(), ElementsAre(kNumberWarning));
}

TEST_F(ConfElementTest, TheFirstDefaultNameWins)
{
	const PortRef port =
		port_with("<param_default_name input=\"A\" output=\"B\"/>"
			  "<param_default_name input=\"C\" output=\"D\"/>");
	EXPECT_EQ(port->input_name, "A");
	EXPECT_EQ(port->output_name, "B");
}

TEST_F(ConfElementTest, AnEmptyDefaultNameIsAName)
{
	EXPECT_EQ(port_with("<param_default_name input=\"\"/>"
			    "<param_default_name input=\"C\"/>")
			  ->input_name,
		  "");
}

TEST_F(ConfElementTest, ThereIsNoDefaultNameWithoutTheElement)
{
	const PortRef port = port_with("");
	EXPECT_EQ(port->input_name, std::nullopt);
	EXPECT_EQ(port->output_name, std::nullopt);
}

TEST_F(ConfElementTest, TheDefaultDirectionIsAWordInAnyCase)
{
	EXPECT_FALSE(port_with("<param_defaults dir=\"Output\"/>")->direction);
	EXPECT_TRUE(port_with("<param_defaults dir=\"output\"/>"
			      "<param_defaults dir=\"INPUT\"/>")
			    ->direction);
	EXPECT_FALSE(port_with("<param_defaults dir=\"output\"/>"
			       "<param_defaults dir=\"in\"/>")
			     ->direction);
}

TEST_F(ConfElementTest, ThePortModeIsAWordInAnyCase)
{
	EXPECT_EQ(port_with("<param_defaults port_mode=\"MonoStable\"/>")->mode,
		  PORT_MODE_MONOSTABLE);
	EXPECT_EQ(port_with("<param_defaults port_mode=\"monostable\"/>"
			    "<param_defaults port_mode=\"BISTABLE\"/>")
			  ->mode,
		  PORT_MODE_BISTABLE);
	EXPECT_EQ(port_with("<param_defaults port_mode=\"monostable\"/>"
			    "<param_defaults port_mode=\"\"/>")
			  ->mode,
		  PORT_MODE_MONOSTABLE);
}

TEST_F(ConfElementTest, TheButtonTypeIsAWordInAnyCase)
{
	EXPECT_EQ(port_with("<param_defaults button_type=\"Pulse\"/>")
			  ->button_type,
		  BUTTON_PULSE);
	EXPECT_EQ(port_with("<param_defaults button_type=\"ACTINACT\"/>")
			  ->button_type,
		  BUTTON_ACTINACT);
	EXPECT_EQ(port_with("<param_defaults button_type=\"pulse\"/>"
			    "<param_defaults button_type=\"none\"/>")
			  ->button_type,
		  BUTTON_NONE);
	EXPECT_EQ(port_with("<param_defaults button_type=\"pulse\"/>"
			    "<param_defaults button_type=\"toggle\"/>")
			  ->button_type,
		  BUTTON_PULSE);
}

struct PulseRow {
	const char *text;
	guint32 time;
};

class PulseTimeTest : public ConfTest,
		      public testing::WithParamInterface<PulseRow>
{
};

TEST_P(PulseTimeTest, IsTheNumberThatTheDigitsMakeOrUnchanged)
{
	EXPECT_EQ(port_with(std::string("<param_defaults pulse_time=\"250\"/>"
					"<param_defaults pulse_time=\"") +
			    GetParam().text + "\"/>")
			  ->pulse_time,
		  GetParam().time);
}

INSTANTIATE_TEST_SUITE_P(
	Times, PulseTimeTest,
	testing::Values(PulseRow{"500", 500}, PulseRow{"0", 0},
			PulseRow{"500ms", 500}, PulseRow{"ms500", 250},
			PulseRow{"", 250}, PulseRow{"-", 250},
			PulseRow{"-5", 4294967291U},
			PulseRow{"2147483647", 2147483647U},
			PulseRow{"4294967295", 4294967295U},
			PulseRow{"4294967296", 0},
			PulseRow{"99999999999999999999", 4294967295U}));

TEST_F(ConfElementTest, TheUsageIsTheText)
{
	EXPECT_EQ(
		port_with("<param_defaults usage=\"Door &amp; bell\"/>")->usage,
		"Door & bell");
	EXPECT_EQ(port_with("")->usage, "");
}

class BackendNameTest
	: public ConfTest,
	  public testing::WithParamInterface<std::pair<const char *, IOBackend>>
{
};

TEST_P(BackendNameTest, BindsItsKind)
{
	const auto &[name, kind] = GetParam();
	read("<port name=\"p\"/>");
	const PortRef port = newest();
	port->backend = BACKEND_COUNT;
	conf_apply_attribute(port.get(), "backend", "name", name);
	EXPECT_EQ(port->backend, kind);
}

INSTANTIATE_TEST_SUITE_P(Names, BackendNameTest,
			 testing::Values(std::pair("gpio", BACKEND_GPIO),
					 std::pair("spiadc", BACKEND_SPIADC),
					 std::pair("spi", BACKEND_SPI),
					 std::pair("iio", BACKEND_IIO),
					 std::pair("iio-interrupt",
						   BACKEND_IIO_INTERRUPT),
					 std::pair("sysfs", BACKEND_SYSFS),
					 std::pair("virtual", BACKEND_VIRTUAL),
					 std::pair("iobox", BACKEND_IOBOX),
					 std::pair("null", BACKEND_NULL),
					 std::pair("check", BACKEND_CHECK)));

TEST_F(ConfElementTest, AnUnknownBackendNameBindsNothing)
{
	for (const char *name : {"", "GPIO", "gpio ", "iio_interrupt", "x"}) {
		const PortRef port = port_with(std::string("<backend name=\"") +
					       name + "\" key=\"value\"/>");
		EXPECT_EQ(port->functions, nullptr) << name;
	}
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfElementTest, UnknownElementsAndAttributesAreIgnored)
{
	const PortRef port = port_with(
		"<Port_type type=\"output\"/><port_type Type=\"output\"/>"
		"<port_type nbr=\"3\"/><port_no number=\"3\"/>"
		"<param_default_name both=\"x\"/><param_defaults x=\"y\"/>"
		"<event Declaration=\"A\"/><keyvalue Key=\"k\"/>"
		"<first_virtual_input number=\"9\"/><colour rgb=\"f00\"/>");
	EXPECT_EQ(port->type, PORT_INPUT);
	EXPECT_EQ(port->number, -1);
	EXPECT_EQ(port->input_name, std::nullopt);
	EXPECT_EQ(event_of(port).name, std::nullopt);
	EXPECT_EQ(event_of(port).keys.front().key, std::nullopt);
	EXPECT_EQ(virtual_input_get_first_port_no(), kDefaultFirstVirtualPort);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfElementTest, AValueThatIsTooLongIsIgnoredWithAWarning)
{
	const std::string longest(kLongestText, 'n');
	const PortRef port =
		port_with("<port_no nbr=\"3\"/>"
			  "<param_default_name input=\"" +
			  longest + "\" output=\"" + longest + "n\"/>");
	EXPECT_EQ(port->input_name, longest);
	EXPECT_EQ(port->output_name, std::nullopt);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Ignoring output of param_default_name on port "
				"3: it is too long"));
}

} // namespace
