#include "board-fixture.h"

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
