#include "parhand-fixture.h"

#include <chrono>
#include <filesystem>
#include <sys/stat.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kParseError[] = "Failed to parse port number";

std::string no_port(int number)
{
	return "No port " + std::to_string(number) +
	       " to write parhand data to.\n";
}

// ---- the file ----

TEST_F(ParhandTest, NoFileChangesNothingAndIsLogged)
{
	util::Error error;
	EXPECT_TRUE(read_parhand_parameters(path_.c_str(), &error));
	EXPECT_FALSE(error);
	EXPECT_EQ(log_.warnings(),
		  std::vector<std::string>{"Unable to read from parhand file"});
	EXPECT_EQ(log_.messages().size(), 1u);
}

TEST_F(ParhandTest, AFileWithoutGroupsChangesNothing)
{
	EXPECT_EQ(import(""), "true");
	EXPECT_EQ(import("# only a comment\n\n"), "true");
	EXPECT_EQ(import("[IOPort.I1.Input]\n"), "true");
	EXPECT_EQ(import("[IOPort.Ix.Input]\n"), "true");
	EXPECT_EQ(import("[IOPort.I77.Input]\n"), "true");
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ParhandTest, AFileThatCannotBeLoadedChangesNothing)
{
	for (const char *text :
	     {"Name=Door\n[IOPort.I1.Input]\n",
	      "[IOPort.I1.Input]\nName=Door\nno equals sign\n",
	      "[IOPort.I1.Input\nName=Door\n"})
		EXPECT_TRUE(import(text).starts_with(
			"false g-key-file-error-quark "))
			<< text;
	EXPECT_EQ(input_->input_name, "In");
	util::Error error;
	std::filesystem::remove(path_);
	ASSERT_EQ(mkdir(path_.c_str(), S_IRWXU), 0);
	EXPECT_FALSE(read_parhand_parameters(path_.c_str(), &error));
	EXPECT_TRUE(error);
}

TEST_F(ParhandTest, TheErrorNeedNotBeTaken)
{
	write_file(path_, "[IOPort.Ix.Input]\nName=a\n[IOPort.I1.Input]\n"
			  "Name=Door\n");
	EXPECT_FALSE(read_parhand_parameters(path_.c_str(), nullptr));
	EXPECT_EQ(input_->input_name, "Door");
	write_file(path_, "no group\n");
	EXPECT_FALSE(read_parhand_parameters(path_.c_str(), nullptr));
}

TEST_F(ParhandTest, CommentsBlankLinesAndLineEndsOfTheOtherKindAreNoMatter)
{
	EXPECT_EQ(import("# a\r\n\r\n[IOPort.I1.Input]\r\n# b\r\n"
			 "Name = \"Door 1\"\r\n\r\nTrig=open"),
		  "true");
	EXPECT_EQ(input_->input_name, "Door 1");
	EXPECT_TRUE(input_->input_activelow);
}

// ---- directions ----

TEST_F(ParhandTest, ConfigurablePortsTakeADirection)
{
	import_key("IOPort.I3", "Direction=input");
	EXPECT_TRUE(gate_->direction);
	import_key("IOPort.I3", "Direction=output");
	EXPECT_FALSE(gate_->direction);
	import_key("IOPort.I3", "Usage=x");
	EXPECT_EQ(gate_->usage, "Usage");
}

TEST_F(ParhandTest, TheDirectionIsSetWithoutTheOperation)
{
	gate_->is_setup = true;
	recorder::reset();
	import_key("IOPort.I3", "Direction=input");
	EXPECT_TRUE(gate_->direction);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	gate_->is_setup = false;
}

TEST_F(ParhandTest, OtherPortsIgnoreADirection)
{
	const bool before = output_->direction;
	for (const char *group : {"IOPort.I1", "IOPort.I2", "IOPort.I77"})
		for (const char *value : {"input", "output", "sideways", ""})
			import_key(group, std::string("Direction=") + value);
	EXPECT_TRUE(input_->direction);
	EXPECT_EQ(output_->direction, before);
}

TEST_F(ParhandTest, AnotherDirectionSpoilsTheRestOfItsGroup)
{
	for (const char *value : {"", "Input", "output ", "in", "\"input\""})
		EXPECT_EQ(import(std::string("[IOPort.I3]\nDirection=") +
				 value + "\n"),
			  "false Failed to read Direction parameter")
			<< value;
	EXPECT_FALSE(gate_->direction);
}

// ---- groups ----

TEST_F(ParhandTest, OtherGroupsAreIgnored)
{
	const auto before = settings(gate_);
	for (const char *group :
	     {"Input", "Output", "input", "Other", "IOPort", "IOPort.", "IO",
	      "IOPort.O1", "ioport.I1", "root.IOPort.I3", "Input.IOPort.I3",
	      "OutputX"})
		import_key(group, "Name=x\nDirection=input\nTrig=open");
	EXPECT_EQ(settings(gate_), before);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ParhandTest, AGroupWithoutANumberIsAnError)
{
	for (const char *group :
	     {"IOPort.Ix.Input", "IOPort.Ix.Output", "IOPort.Ix", "IOPort.I",
	      "IOPort.I.Input", "IOPort.I-3.Input", "IOPort.I+3.Output",
	      "IOPort.I 3", "XInput", "XOutput", "Output.Input", "InputOutput",
	      "12345Input", "abcdef3Output", "IOPort.Input"})
		EXPECT_EQ(import("[" + std::string(group) +
				 "]\nAny=x\nDirection=input\n"),
			  std::string("false ") + kParseError)
			<< group;
}

TEST_F(ParhandTest, TheNumberIsWhatTheNinthCharacterStarts)
{
	import_key("IOPort.I3Input", "Name=a");
	EXPECT_EQ(gate_->input_name, "a");
	import_key("IOPort.I0003 and more.Input", "Name=b");
	EXPECT_EQ(gate_->input_name, "b");
	import_key("whatever3.Output", "Name=c");
	EXPECT_EQ(gate_->output_name, "c");
	import_key("IOPort.I3.Input.Output", "Name=d");
	EXPECT_EQ(gate_->output_name, "d");
	for (const char *group : {"IOPort.I3x", "IOPort.I3.input",
				  "IOPort.I3.Input ", "IOPort.I3.Other"}) {
		import_key(group, "Name=x\nDirection=input");
		EXPECT_TRUE(gate_->direction) << group;
		gate_->direction = false;
	}
}

TEST_F(ParhandTest, AMissingPortEndsTheImportAndKeepsWhatWasApplied)
{
	const std::string before = "[IOPort.I1.Input]\nName=Window\n";
	const std::string after = "[IOPort.I2.Output]\nName=Horn\n";
	for (const char *group : {"IOPort.I7.Input", "IOPort.I7.Output"}) {
		EXPECT_EQ(import(before + "[" + group + "]\nOdd=x\nName=x\n" +
					 after,
				 no_port(7)),
			  "false");
		EXPECT_EQ(input_->input_name, "Window");
		EXPECT_EQ(output_->output_name, "Out");
		input_->input_name = "In";
	}
}

TEST_F(ParhandTest, AnEarlierErrorOutlastsAMissingPort)
{
	EXPECT_EQ(import("[IOPort.Ix.Input]\nName=x\n[IOPort.I7.Output]\n"
			 "Name=x\n[IOPort.I1.Input]\nName=Window\n",
			 no_port(7)),
		  std::string("false ") + kParseError);
	EXPECT_EQ(input_->input_name, "In");
}

TEST_F(ParhandTest, ANumberThatIsTooLargeIsNoPorts)
{
	for (const char *number :
	     {"2147483647", "2147483648", "4294967299", "18446744073709551619"})
		EXPECT_EQ(import("[IOPort.I" + std::string(number) +
					 ".Input]\nName=x\n",
				 no_port(G_MAXINT)),
			  "false")
			<< number;
	EXPECT_EQ(gate_->input_name, "In");
}

TEST_F(ParhandTest, TheFirstErrorIsReportedAndLaterGroupsAreRead)
{
	EXPECT_EQ(import("[IOPort.I1.Input]\nTrig=x\nName=lost\n"
			 "[IOPort.I3]\nDirection=x\n"
			 "[IOPort.Ix.Output]\nName=x\n"
			 "[IOPort.I2.Output]\nName=Horn\nOdd=x\n"
			 "[IOPort.I3.Input]\nName=Gate\n"),
		  "false Failed to read Trig parameter");
	EXPECT_EQ(input_->input_name, "In");
	EXPECT_EQ(output_->output_name, "Horn");
	EXPECT_EQ(gate_->input_name, "Gate");
}

TEST_F(ParhandTest, OfAKeyThatIsThereTwiceTheLastValueCounts)
{
	EXPECT_EQ(import("[IOPort.I1.Input]\nName=first\nTrig=open\n"
			 "Name=last\n"),
		  "true");
	EXPECT_EQ(input_->input_name, "last");
	EXPECT_TRUE(input_->input_activelow);
}

TEST_F(ParhandTest, AGroupThatIsThereTwiceIsOne)
{
	EXPECT_EQ(import("[IOPort.I1.Input]\nName=first\n"
			 "[IOPort.I2.Output]\nName=Horn\n"
			 "[IOPort.I1.Input]\nTrig=open\nName=last\n"),
		  "true");
	EXPECT_EQ(input_->input_name, "last");
	EXPECT_TRUE(input_->input_activelow);
	EXPECT_EQ(output_->output_name, "Horn");
	EXPECT_EQ(import("[IOPort.I1.Input]\nOdd=x\n[IOPort.I3.Input]\nName=a\n"
			 "[IOPort.I1.Input]\nName=lost\n"),
		  "false Failed to read Odd parameter");
	EXPECT_EQ(input_->input_name, "last");
	EXPECT_EQ(gate_->input_name, "a");
}

TEST_F(ParhandTest, OfTwoPortsWithANumberTheOlderOneIsMeant)
{
	const PortRef twin = make_port("twin", 1, PORT_INPUT);
	add(twin);
	import_key("IOPort.I1.Input", "Name=Window");
	EXPECT_EQ(input_->input_name, "Window");
	EXPECT_EQ(twin->input_name, "In");
}

TEST_F(ParhandTest, ChangesAreAnnouncedByTheOperationsOnly)
{
	recorder::reset();
	EXPECT_EQ(import("[IOPort.I3.Input]\nName=a\n[IOPort.I3.Output]\n"
			 "Name=b\nButton=none\nPulseTime=5\n"),
		  "true");
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("property_changed(Name, \"a\", 3, input)",
				"property_changed(Name, \"b\", 3, output)"));
}

// ---- large files ----

/// Seconds that importing that many groups takes, half of which are spoilt.
double time_of(const std::string &path, int groups)
{
	std::string text;
	for (int i = 0; i < groups; ++i)
		text += "[" +
			std::string(i % 2 ? "IOPort.I2.Output" : "IOPort.I") +
			"x" + std::to_string(i) + "Output]\nName=x\n";
	text += "[IOPort.I1.Input]\nName=n" + std::to_string(groups) + "\n";
	write_file(path, text);
	const auto begin = std::chrono::steady_clock::now();
	EXPECT_FALSE(read_parhand_parameters(path.c_str(), nullptr));
	return std::chrono::duration<double>(std::chrono::steady_clock::now() -
					     begin)
		.count();
}

TEST_F(ParhandTest, HundredThousandGroupsTakeTheTimeOfTenTimesTenThousand)
{
	time_of(path_, 1000);
	const double some = time_of(path_, 10000);
	const double many = time_of(path_, 100000);
	EXPECT_EQ(input_->input_name, "n100000");
	EXPECT_EQ(output_->output_name, "x");
	// Ten times as long, and no more than a busy machine makes of that.
	EXPECT_LT(many, 40 * some + 1);
}

} // namespace
