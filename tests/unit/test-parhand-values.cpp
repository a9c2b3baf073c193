#include "parhand-fixture.h"

#include "ioport/port-settings.h"

namespace
{

// ---- inputs ----

TEST_F(ParhandTest, InputsTakeNameAndLevel)
{
	for (const PortRef &port : {input_, gate_}) {
		const auto group =
			"IOPort.I" + std::to_string(port->number) + ".Input";
		import_key(group, "Name=Window");
		EXPECT_EQ(port->input_name, "Window");
		import_key(group, "Trig=open");
		EXPECT_TRUE(port->input_activelow);
		import_key(group, "Trig=closed");
		EXPECT_FALSE(port->input_activelow);
		EXPECT_FALSE(port->output_activelow);
		EXPECT_EQ(port->output_name, "Out");
	}
}

TEST_F(ParhandTest, WhatIsWrongWithAnInputSpoilsTheRestOfItsGroup)
{
	for (const char *value : {"", "Open", "open ", "\"open\"", "1"})
		EXPECT_EQ(import(std::string("[IOPort.I1.Input]\nTrig=") +
				 value + "\nName=Window\n"),
			  "false Failed to read Trig parameter")
			<< value;
	for (const char *key : {"Usage", "name", "Active", "a b"})
		EXPECT_EQ(import(std::string("[IOPort.I1.Input]\n") + key +
				 "=open\nName=Window\n"),
			  std::string("false Failed to read ") + key +
				  " parameter");
	EXPECT_EQ(input_->input_name, "In");
	EXPECT_EQ(import("[IOPort.I1.Input]\nName=Window\nTrig=x\n"),
		  "false Failed to read Trig parameter");
	EXPECT_EQ(input_->input_name, "Window");
}

TEST_F(ParhandTest, ASideThatAPortDoesNotHaveTakesNothing)
{
	const auto input = settings(input_);
	const auto output = settings(output_);
	EXPECT_EQ(import("[IOPort.I2.Input]\nName=x\nTrig=open\n"
			 "[IOPort.I1.Output]\nName=x\nActive=open\n"),
		  "true");
	EXPECT_EQ(settings(input_), input);
	EXPECT_EQ(settings(output_), output);
}

// ---- quotes ----

struct Quoting {
	const char *value;
	const char *name;
};

class ParhandNameTest : public ParhandTest,
			public testing::WithParamInterface<Quoting>
{
};

TEST_P(ParhandNameTest, IsTakenFromItsQuotes)
{
	const std::string line = std::string("Name=") + GetParam().value;
	import_key("IOPort.I3.Input", line);
	import_key("IOPort.I3.Output", line);
	EXPECT_EQ(gate_->input_name, GetParam().name);
	EXPECT_EQ(gate_->output_name, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
	Parhand, ParhandNameTest,
	testing::Values(Quoting{"", ""}, Quoting{"a", "a"},
			Quoting{"Door 1", "Door 1"},
			Quoting{"\"Door 1\"", "Door 1"}, Quoting{"\"", ""},
			Quoting{"\"\"", ""}, Quoting{"\"a\"", "a"},
			Quoting{"\"a", ""}, Quoting{"\"ab", "a"},
			Quoting{"\"ab\" ", "ab\""}, Quoting{"  \"ab\"", "ab"},
			Quoting{"\"\"ab\"\"", "\"ab\""},
			Quoting{"ab\"", "ab\""}, Quoting{"'ab'", "'ab'"},
			Quoting{"\"ü", ""}, Quoting{"\"a门", "a"},
			Quoting{"\"T\xc3\xbcr\"", "Tür"},
			Quoting{"\"\xf0\x9f\x9a\xaa", ""},
			Quoting{"a\\nb\\s\\x", "a\\nb\\s\\x"},
			Quoting{"a=b;c#d[e]", "a=b;c#d[e]"},
			Quoting{"<&>%s%n", "<&>%s%n"}));

TEST_F(ParhandTest, NamesThatAreNoTextAreRefused)
{
	for (const char *value : {"caf\xe9", "\"caf\xe9\"", "\"\xff", "\xc3",
				  "\"a\xc3\"", "\xed\xa0\x80"}) {
		const auto rest = std::string(value) + "\nTrig=open\n";
		EXPECT_EQ(import("[IOPort.I1.Input]\nName=" + rest),
			  "false Failed to read Name parameter")
			<< value;
		EXPECT_EQ(import("[IOPort.I2.Output]\nName=" + rest),
			  "false Failed to read Name parameter")
			<< value;
	}
	EXPECT_EQ(input_->input_name, "In");
	EXPECT_FALSE(input_->input_activelow);
	EXPECT_EQ(output_->output_name, "Out");
}

TEST_F(ParhandTest, NamesAreTakenUpToTheLengthOfAName)
{
	const std::string longest(kLongestText, 'x');
	for (const std::string &name : {longest, longest.substr(1)}) {
		import_key("IOPort.I1.Input", "Name=" + name);
		EXPECT_TRUE(input_->input_name == name);
		import_key("IOPort.I2.Output", "Name=\"" + name + "\"");
		EXPECT_TRUE(output_->output_name == name);
	}
	for (const std::string &name : {longest + "y", "\"" + longest + "y\""})
		EXPECT_EQ(import("[IOPort.I1.Input]\nName=" + name + "\n"),
			  "false Failed to read Name parameter");
	EXPECT_EQ(input_->input_name->size(), kLongestText - 1);
}

// ---- outputs ----

TEST_F(ParhandTest, OutputsTakeAllOfTheirs)
{
	for (const PortRef &port : {output_, gate_}) {
		EXPECT_EQ(import("[IOPort.I" + std::to_string(port->number) +
				 ".Output]\nName=Horn\nActive=open\n"
				 "Button=actinact\nPulseTime=1200\n"
				 "DelayTime=340\nMode=bistable\n"),
			  "true");
		EXPECT_EQ(port->output_name, "Horn");
		EXPECT_TRUE(port->output_activelow);
		EXPECT_EQ(port->button_type, BUTTON_ACTINACT);
		EXPECT_EQ(port->pulse_time, 1200u);
		EXPECT_EQ(port->delay_time, 340);
		EXPECT_EQ(port->mode, PORT_MODE_BISTABLE);
		EXPECT_FALSE(port->input_activelow);
		EXPECT_EQ(port->input_name, "In");
	}
}

TEST_F(ParhandTest, OutputsTakeEveryWordOfTheirKeys)
{
	const std::string group = "IOPort.I2.Output";
	import_key(group, "Active=open");
	EXPECT_TRUE(output_->output_activelow);
	import_key(group, "Active=closed");
	EXPECT_FALSE(output_->output_activelow);
	import_key(group, "Button=actinact");
	EXPECT_EQ(output_->button_type, 2);
	import_key(group, "Button=none");
	EXPECT_EQ(output_->button_type, 0);
	import_key(group, "Button=pulse");
	EXPECT_EQ(output_->button_type, 1);
	for (const char *word : {"monostable", "xyz", "", "Bistable",
				 "bistable ", "\"bistable\"", "none"}) {
		import_key(group, "Mode=bistable");
		EXPECT_EQ(output_->mode, 2) << word;
		import_key(group, std::string("Mode=") + word);
		EXPECT_EQ(output_->mode, 1) << word;
	}
}

TEST_F(ParhandTest, AnotherWordForTheButtonIsIgnored)
{
	for (const char *word : {"toggle", "", "Pulse", "1", "none "})
		EXPECT_EQ(import(std::string("[IOPort.I2.Output]\nButton=") +
				 word + "\nPulseTime=5\n"),
			  "true")
			<< word;
	EXPECT_EQ(output_->button_type, BUTTON_PULSE);
	EXPECT_EQ(output_->pulse_time, 5u);
}

TEST_F(ParhandTest, WhatIsWrongWithAnOutputSpoilsTheRestOfItsGroup)
{
	for (const char *value : {"", "Open", "closed ", "true"})
		EXPECT_EQ(import(std::string("[IOPort.I2.Output]\nActive=") +
				 value + "\nName=Horn\n"),
			  "false Failed to read Active parameter")
			<< value;
	for (const char *key : {"Trig", "Usage", "name", "Direction"})
		EXPECT_EQ(import(std::string("[IOPort.I2.Output]\n") + key +
				 "=open\nName=Horn\n"),
			  "false Failed to read Output parameter")
			<< key;
	EXPECT_EQ(output_->output_name, "Out");
}

struct Time {
	const char *value;
	guint32 pulse;
	gint32 delay;
};

class ParhandTimeTest : public ParhandTest,
			public testing::WithParamInterface<Time>
{
};

TEST_P(ParhandTimeTest, IsTheDigitsThatItStartsWith)
{
	output_->pulse_time = 11;
	output_->delay_time = 22;
	const std::string value = GetParam().value;
	EXPECT_EQ(import("[IOPort.I2.Output]\nPulseTime=" + value +
			 "\nDelayTime=" + value + "\nName=Horn\n"),
		  "true");
	EXPECT_EQ(output_->pulse_time, GetParam().pulse);
	EXPECT_EQ(output_->delay_time, GetParam().delay);
	EXPECT_EQ(output_->output_name, "Horn");
}

INSTANTIATE_TEST_SUITE_P(
	Parhand, ParhandTimeTest,
	testing::Values(Time{"0", 0, 0}, Time{"5", 5, 5}, Time{" \t5", 5, 5},
			Time{"5 ", 5, 5}, Time{"5 0", 5, 5}, Time{"007", 7, 7},
			Time{"12ms", 12, 12}, Time{"1.5", 1, 1},
			Time{"1,500", 1, 1}, Time{"0x10", 0, 0},
			Time{"", 11, 22}, Time{"-5", 11, 22},
			Time{"+5", 11, 22}, Time{"ms12", 11, 22},
			Time{"\"5\"", 11, 22}, Time{"\xd9\xa3", 11, 22},
			Time{"2147483647", 2147483647, G_MAXINT32},
			Time{"2147483648", 2147483648, G_MAXINT32},
			Time{"4294967295", G_MAXUINT32, G_MAXINT32},
			Time{"4294967296", G_MAXUINT32, G_MAXINT32},
			Time{"99999999999999999999999", G_MAXUINT32,
			     G_MAXINT32}));

} // namespace
