#include "board-fixture.h"

#include <grp.h>

using namespace simboard;

namespace
{

/// The message that a file with that text is refused with.
std::string refusal(const std::string &text)
{
	BoardDescription description;
	util::Error error;

	if (parse_board(text, "b", description, &error))
		return "accepted";
	return error.message();
}

const std::string CHIP = "[Chip c]\nBase=0\nLines=8\n";

} // namespace

TEST(BoardFile, TellsWhatIsOnTheBoard)
{
	BoardDescription board = describe_board(
		"[Board]\nName=Door board\nGroup=64124\nAttributeDelay=50\n"
		"GroupDelay=7\n[Chip c]\nBase=32\nLines=16\nLabel=soc\n"
		"[Line bell]\nNumber=40\nWiring=relay\nIdle=high\n"
		"Exported=ring\n");

	EXPECT_EQ(board.name, "Door board");
	EXPECT_TRUE(board.has_group);
	EXPECT_EQ(board.group, 64124u);
	EXPECT_EQ(board.attribute_delay_ms, 50u);
	EXPECT_EQ(board.group_delay_ms, 7u);
	ASSERT_EQ(board.chips.size(), 1u);
	EXPECT_EQ(board.chips[0].base, 32u);
	EXPECT_EQ(board.chips[0].lines, 16u);
	EXPECT_EQ(board.chips[0].label, "soc");
	ASSERT_EQ(board.lines.size(), 1u);
	EXPECT_EQ(board.lines[0].number, 40u);
	EXPECT_EQ(board.lines[0].wiring, Wiring::RELAY);
	EXPECT_EQ(board.lines[0].idle, Level::HIGH);
	EXPECT_EQ(board.lines[0].folder, "ring");
}

TEST(BoardFile, HasDefaults)
{
	BoardDescription board = describe_board();

	EXPECT_FALSE(board.has_group);
	EXPECT_EQ(board.attribute_delay_ms, 0u);
	EXPECT_EQ(board.chips[0].label, "main");
	EXPECT_EQ(board.lines[0].idle, Level::HIGH) << "a button is pulled up";
	EXPECT_EQ(board.lines[1].idle, Level::LOW) << "a door is closed";
	EXPECT_EQ(board.lines[3].wiring, Wiring::WIRE);
	EXPECT_EQ(board.lines[0].folder, "") << "firmware exports nothing";
}

TEST(BoardFile, AnEmptyFileIsAnEmptyBoard)
{
	BoardDescription board = describe_board("");

	EXPECT_TRUE(board.chips.empty());
	EXPECT_TRUE(board.lines.empty());
}

TEST(BoardFile, ExportedTrueMeansTheKernelsName)
{
	BoardDescription board =
		describe_board(CHIP + "[Line a]\nNumber=7\nExported=true\n"
				      "[Line b]\nNumber=6\nExported=false\n");

	EXPECT_EQ(board.lines[0].folder, "gpio7");
	EXPECT_EQ(board.lines[1].folder, "");
}

TEST(BoardFile, AGroupIsNamedByNumberOrName)
{
	const group *second = getgrgid(1);
	ASSERT_NE(second, nullptr);
	std::string name = second->gr_name;

	EXPECT_EQ(describe_board("[Board]\nGroup=0x1f\n").group, 31u);
	BoardDescription board =
		describe_board("[Board]\nGroup=" + name + "\n");
	EXPECT_TRUE(board.has_group);
	EXPECT_EQ(board.group, 1u);
	EXPECT_EQ(refusal("[Board]\nGroup=no-such-group\n"),
		  "b: [Board] Group: there is no group no-such-group");
	EXPECT_EQ(refusal("[Board]\nGroup=\n").substr(0, 17),
		  "b: [Board] Group:");
}

TEST(BoardFile, AMissingFileIsNamed)
{
	BoardDescription description;
	util::Error error;

	EXPECT_FALSE(
		read_board_file("/nonexistent/board", description, &error));
	EXPECT_NE(std::string(error.message()).find("/nonexistent/board"),
		  std::string::npos);
}

TEST(BoardFile, MistakesInAGroupNameFileGroupAndKey)
{
	EXPECT_EQ(refusal("[Bord]\n"), "b: [Bord]: there is no such group");
	EXPECT_EQ(refusal("[Board]\nNmae=x\n"),
		  "b: [Board] Nmae: there is no such key");
	EXPECT_EQ(refusal("[Chip c]\nLines=8\n"),
		  "b: [Chip c] Base: is missing");
	EXPECT_EQ(refusal("[Chip c]\nBase=0\n"),
		  "b: [Chip c] Lines: is missing");
	EXPECT_EQ(refusal("[Board]\nGroupDelay=5\n"),
		  "b: [Board] GroupDelay: there is no Group to wait for");
	EXPECT_EQ(refusal(CHIP + "[Line a]\nNumber=1\nWiring=knob\n"),
		  "b: [Line a] Wiring: \"knob\" is not one of button, door "
		  "contact, relay, control or wire");
	EXPECT_EQ(refusal(CHIP + "[Line a]\nNumber=1\nIdle=1\n"),
		  "b: [Line a] Idle: \"1\" is not one of low or high");
}

TEST(BoardFile, NumbersOutOfRangeAreRefused)
{
	for (const char *lines :
	     {"0", "4097", "-1", "x", "", "1.5", "18446744073709551617"}) {
		std::string message = refusal(
			"[Chip c]\nBase=0\nLines=" + std::string(lines) + "\n");
		EXPECT_TRUE(message.starts_with("b: [Chip c] Lines: "))
			<< message;
	}
	EXPECT_TRUE(refusal("[Board]\nGroup=4294967295\n")
			    .starts_with("b: [Board] Group: "));
	EXPECT_TRUE(refusal("[Chip c]\nBase=2147483647\nLines=1\n")
			    .starts_with("b: [Chip c] Base: "));
}

TEST(BoardFile, PartsThatDoNotFitAreRefused)
{
	EXPECT_EQ(refusal(CHIP + "[Chip d]\nBase=7\nLines=1\n"),
		  "b: [Chip d] Base: the chip overlaps c");
	EXPECT_EQ(refusal(CHIP + "[Line a]\nNumber=8\n"),
		  "b: [Line a] Number: no chip has line 8");
	EXPECT_EQ(refusal(CHIP + "[Line a]\nNumber=1\n[Line e]\nNumber=1\n"),
		  "b: [Line e] Number: is that of a");
	EXPECT_EQ(refusal(CHIP + "[Line c]\nNumber=1\n"),
		  "b: [Line c]: the name is used twice");
}

TEST(BoardFile, NamesAreWordsThatAreNoNumbers)
{
	for (const char *name : {"12", "a b", "..", "a/b", "\u00e9", ""}) {
		std::string message = refusal(
			CHIP + "[Line " + std::string(name) + "]\nNumber=1\n");
		EXPECT_NE(message.find("the name must be of"),
			  std::string::npos)
			<< name << ": " << message;
	}
}

TEST(BoardFile, FoldersAreUniqueAndNobodyElses)
{
	const std::string line = CHIP + "[Line a]\nNumber=1\nExported=";

	EXPECT_EQ(refusal(line + "gpio1\n"), "accepted");
	EXPECT_EQ(refusal(line + "gpio2\n"),
		  "b: [Line a] Exported: \"gpio2\" is another line's");
	EXPECT_EQ(refusal(line + "export\n"),
		  "b: [Line a] Exported: \"export\" is used twice");
	EXPECT_EQ(refusal(line + "gpiochip0\n"),
		  "b: [Line a] Exported: \"gpiochip0\" is used twice");
	EXPECT_NE(refusal(line + "../x\n"), "accepted");
	EXPECT_EQ(refusal(line + "n\n[Line e]\nNumber=2\nExported=n\n"),
		  "b: [Line e] Exported: \"n\" is used twice");
}

TEST(BoardFile, OnlyAWireFollowsAndOnlyWhatTheBoardDrives)
{
	const std::string relay = CHIP + "[Line r]\nNumber=1\nWiring=relay\n";

	EXPECT_EQ(refusal(relay + "[Line a]\nNumber=2\nFollows=r\n"),
		  "accepted");
	EXPECT_EQ(refusal(relay + "[Line a]\nNumber=2\nFollows=x\n"),
		  "b: [Line a] Follows: there is no line x");
	EXPECT_EQ(refusal(relay + "[Line a]\nNumber=2\nFollows=a\n"),
		  "b: [Line a] Follows: a is neither relay nor control");
	EXPECT_EQ(refusal(relay + "[Line a]\nNumber=2\nWiring=relay\n"
				  "Follows=r\n"),
		  "b: [Line a] Follows: only a wire can follow");
	EXPECT_EQ(refusal(relay + "[Line a]\nNumber=2\nIdle=low\n"
				  "Follows=r\n"),
		  "b: [Line a] Idle: a line that follows is never idle");
}

TEST(BoardFile, WhatIsNoKeyFileIsRefusedInOneLine)
{
	std::string message = refusal("Name=x\n");

	EXPECT_TRUE(message.starts_with("b: ")) << message;
	EXPECT_EQ(message.find('\n'), std::string::npos);
	EXPECT_NE(refusal("[Board]\nName=\xff\xfe\n"), "accepted");
}

TEST(BoardFile, ALineMayBeLeftAnOutput)
{
	BoardDescription board =
		describe_board(CHIP + "[Line a]\nNumber=1\nDirection=out\n"
				      "Idle=high\n[Line b]\nNumber=2\n");

	EXPECT_EQ(board.lines[0].direction, Direction::OUT);
	EXPECT_EQ(board.lines[1].direction, Direction::IN);
	EXPECT_EQ(refusal(CHIP + "[Line a]\nNumber=1\nDirection=up\n"),
		  "b: [Line a] Direction: \"up\" is not one of in or out");
	EXPECT_EQ(refusal(CHIP + "[Line r]\nNumber=1\nWiring=relay\n"
				 "[Line a]\nNumber=2\nFollows=r\n"
				 "Direction=out\n"),
		  "b: [Line a] Follows: only an input can follow");
}

TEST(BoardFile, TellsConvertersAndLoops)
{
	BoardDescription board = describe_board(
		std::string(BOARD_TEXT) + LOOPS_TEXT +
		"[Loop yard]\nConverter=adc\nAddress=0\nPullUp=4700\n"
		"EndOfLine=2200\nContact=680\n");

	ASSERT_EQ(board.converters.size(), 1u);
	EXPECT_EQ(board.converters[0].name, "adc");
	EXPECT_EQ(board.converters[0].device, "spidev0.1");
	ASSERT_EQ(board.loops.size(), 3u);
	EXPECT_EQ(board.loops[0].converter, "adc");
	EXPECT_EQ(board.loops[0].address, 31u);
	EXPECT_EQ(board.loops[0].line, "entrance");
	EXPECT_EQ(board.loops[0].circuit.wiring, LoopWiring::NORMALLY_CLOSED);
	EXPECT_EQ(board.loops[1].circuit.wiring, LoopWiring::NORMALLY_OPEN);
	EXPECT_EQ(board.loops[1].line, "");
	EXPECT_EQ(board.loops[2].circuit.pull_up, 4700u);
	EXPECT_EQ(board.loops[2].circuit.end_of_line, 2200u);
	EXPECT_EQ(board.loops[2].circuit.contact, 680u);
}

TEST(BoardFile, TellsDevicesWithTheirChannels)
{
	BoardDescription board = describe_board(
		"[IIO a]\n[Channel a/3]\n"
		"[IIO b]\nName=adc-7\nEndianness=be\nBits=24\nStorage=32\n"
		"Shift=8\nSign=s\nOnesAround=true\nType=odd\nBuffer=false\n"
		"Thresholds=either\nFullScale=1000\n"
		"Attributes=x_period;events/y\n"
		"[Channel b/0x10]\nName=current\nExtension=aux\nValue=-5\n");

	ASSERT_EQ(board.iio.size(), 2u);
	EXPECT_EQ(board.iio[0].iio_name, "a");
	EXPECT_EQ(board.iio[0].type, "le:u12/16>>0");
	EXPECT_EQ(board.iio[0].full_scale, 4095u);
	EXPECT_TRUE(board.iio[0].has_buffer);
	EXPECT_EQ(board.iio[0].thresholds, ThresholdKind::NONE);
	EXPECT_EQ(board.channels[0].device, "a");
	EXPECT_EQ(board.channels[0].attribute, "voltage3");
	const IioDescription &b = board.iio[1];
	EXPECT_EQ(b.iio_name, "adc-7");
	EXPECT_EQ(scan_type_text(b.scan), "be:s24/32>>8");
	EXPECT_EQ(b.type, "odd");
	EXPECT_TRUE(b.scan.ones_around);
	EXPECT_FALSE(b.has_buffer);
	EXPECT_EQ(b.thresholds, ThresholdKind::EITHER);
	EXPECT_EQ(b.full_scale, 1000u);
	EXPECT_EQ(b.attributes,
		  (std::vector<std::string>{"x_period", "events/y"}));
	EXPECT_EQ(board.channels[1].number, 16u);
	EXPECT_EQ(board.channels[1].attribute, "current");
	EXPECT_EQ(board.channels[1].extension, "aux");
	EXPECT_EQ(board.channels[1].value, -5);
}

TEST(BoardFile, MistakesInADeviceAreNamed)
{
	const std::string a = "[IIO a]\n";
	const std::string channel = "[Channel a/0]\n";

	EXPECT_EQ(refusal(a), "b: [IIO a]: has no channel");
	EXPECT_EQ(refusal(a + "Bits=33\n" + channel),
		  "b: [IIO a] Bits: Number “33” is out of bounds [1, 32]");
	EXPECT_EQ(refusal(a + "Storage=12\n" + channel),
		  "b: [IIO a] Storage: is not in whole bytes");
	EXPECT_EQ(refusal(a + "Shift=5\n" + channel),
		  "b: [IIO a] Bits: do not fit into the storage");
	EXPECT_EQ(refusal(a + "Sign=x\n" + channel),
		  "b: [IIO a] Sign: \"x\" is not s or u");
	EXPECT_EQ(refusal(a + "Buffer=yes\n" + channel),
		  "b: [IIO a] Buffer: \"yes\" is not true or false");
	EXPECT_EQ(refusal(a + "Thresholds=x\n" + channel),
		  "b: [IIO a] Thresholds: \"x\" is not one of none, both, "
		  "either or one");
	EXPECT_EQ(refusal(a + "Name=a b\n" + channel),
		  "b: [IIO a] Name: is not one printable word");
	for (const char *path :
	     {"name", "a/b", "events/in_x_thresh_rising_en", "../x", "X"})
		EXPECT_EQ(refusal(a + "Attributes=" + path + "\n" + channel),
			  std::string("b: [IIO a] Attributes: there can be "
				      "no ") +
				  path);
}

TEST(BoardFile, MistakesInAChannelAreNamed)
{
	const std::string a = "[IIO a]\n[Channel a/0]\n";

	EXPECT_EQ(refusal(a), "accepted");
	EXPECT_EQ(refusal(a + "[Channel b/0]\n"),
		  "b: [Channel b/0]: there is no IIO b");
	EXPECT_EQ(refusal(a + "[Channel a]\n"),
		  "b: [Channel a] Name: the group is not named DEVICE/NUMBER");
	EXPECT_EQ(refusal(a + "[Channel a/256]\n"),
		  "b: [Channel a/256] Name: the group is not named "
		  "DEVICE/NUMBER");
	EXPECT_EQ(refusal(a + "[Channel a/00]\nName=voltage9\n"),
		  "b: [Channel a/00]: is there twice");
	EXPECT_EQ(refusal(a + "[Channel a/1]\nName=voltage0\n"),
		  "b: [Channel a/1] Name: is that of another channel");
	EXPECT_EQ(refusal(a + "Name=volts\n"),
		  "b: [Channel a/0] Name: the kernel has no channel volts");
	EXPECT_EQ(refusal(a + "Value=4096\n"),
		  "b: [Channel a/0] Value: does not fit");
	EXPECT_EQ(refusal(a + "Extension=a/b\n"),
		  "b: [Channel a/0] Extension: is not of letters, digits, . _ "
		  ": + -");
	EXPECT_EQ(refusal(a + "[Loop l]\nConverter=a\nAddress=0\n"),
		  "accepted");
	EXPECT_EQ(refusal(a + "[Loop l]\nConverter=a\nAddress=1\n"),
		  "b: [Loop l] Address: a has no channel 1");
}

TEST(BoardFile, MistakesInAConverterAreNamed)
{
	const std::string adc = "[Converter adc]\nDevice=spidev0.1\n";

	EXPECT_EQ(refusal(adc), "accepted");
	EXPECT_EQ(refusal("[Converter adc]\n"),
		  "b: [Converter adc] Device: is missing");
	for (const char *device : {"", "spidev0", "spidev0.", "../spidev0.1",
				   "spidev0.1x", "spidev-1.0", "null"})
		EXPECT_EQ(refusal("[Converter adc]\nDevice=" +
				  std::string(device) + "\n"),
			  "b: [Converter adc] Device: \"" +
				  std::string(device) + "\" is no spidevX.Y");
	EXPECT_EQ(refusal(adc + "[Converter b]\nDevice=spidev0.1\n"),
		  "b: [Converter b] Device: \"spidev0.1\" is used twice");
	EXPECT_EQ(refusal(adc + "[Chip adc]\nBase=0\nLines=1\n"),
		  "b: [Converter adc]: the name is used twice");
	EXPECT_EQ(refusal(adc + "Speed=1\n"),
		  "b: [Converter adc] Speed: there is no such key");
}

TEST(BoardFile, MistakesInALoopAreNamed)
{
	const std::string adc = CHIP + "[Line door]\nNumber=1\n"
				       "Wiring=door contact\n"
				       "[Line wire]\nNumber=2\n"
				       "[Converter adc]\nDevice=spidev0.1\n";
	const std::string loop = adc + "[Loop a]\nConverter=adc\nAddress=3\n";

	EXPECT_EQ(refusal(loop), "accepted");
	EXPECT_EQ(refusal(adc + "[Loop a]\nAddress=3\n"),
		  "b: [Loop a] Converter: is missing");
	EXPECT_EQ(refusal(adc + "[Loop a]\nConverter=adc\n"),
		  "b: [Loop a] Address: is missing");
	EXPECT_EQ(refusal(adc + "[Loop a]\nConverter=door\nAddress=3\n"),
		  "b: [Loop a] Converter: there is no converter door");
	EXPECT_EQ(refusal(loop + "[Loop e]\nConverter=adc\nAddress=0x03\n"),
		  "b: [Loop e] Address: is that of a");
	EXPECT_EQ(refusal(loop + "Line=bell\n"),
		  "b: [Loop a] Line: there is no line bell");
	EXPECT_EQ(refusal(loop + "Line=wire\n"),
		  "b: [Loop a] Line: wire is no door contact");
	EXPECT_EQ(refusal(loop + "Line=door\n[Loop e]\nConverter=adc\n"
				 "Address=4\nLine=door\n"),
		  "b: [Loop e] Line: is that of a");
	EXPECT_EQ(refusal(loop + "Wiring=open\n"),
		  "b: [Loop a] Wiring: \"open\" is not one of normally closed "
		  "or normally open");
	EXPECT_EQ(refusal(loop + "[Loop adc]\nConverter=adc\nAddress=4\n"),
		  "b: [Loop adc]: the name is used twice");
}

TEST(BoardFile, AddressesAndOhmsHaveARange)
{
	const std::string loop = "[Converter adc]\nDevice=spidev0.1\n"
				 "[Loop a]\nConverter=adc\n";

	for (const char *address : {"256", "0x100", "-1", "1f", "0x", "0x0x1"})
		EXPECT_TRUE(refusal(loop + "Address=" + address + "\n")
				    .starts_with("b: [Loop a] Address: "))
			<< address;
	for (const char *key : {"PullUp", "EndOfLine", "Contact"})
		for (const char *ohms : {"0", "10000001", "4k7"})
			EXPECT_TRUE(refusal(loop + "Address=1\n" + key + "=" +
					    ohms + "\n")
					    .starts_with("b: [Loop a] " +
							 std::string(key)))
				<< key << ohms;
}
