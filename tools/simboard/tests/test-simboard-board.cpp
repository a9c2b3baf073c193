#include "board-fixture.h"

#include <cerrno>

using namespace simboard;

namespace
{

class BoardTest : public testing::Test
{
protected:
	BoardTest()
	{
		BoardListener listener;
		listener.edge = [this](Line &line) {
			edges_.push_back(line.number);
		};
		board_.power_on(std::move(listener));
	}

	Line &line(const std::string &name)
	{
		return *board_.find_line(name);
	}
	Line &exported(const std::string &name)
	{
		Line &found = line(name);
		EXPECT_EQ(board_.export_line(found.number, DAEMON), 0);
		return found;
	}

	Board board_{describe_board()};
	std::vector<unsigned> edges_;
};

} // namespace

TEST_F(BoardTest, LinesAreFoundByNumberAndName)
{
	EXPECT_EQ(board_.find_line("3"), board_.find_line("siren"));
	EXPECT_EQ(board_.find_line("100")->title(), "100");
	for (const char *text :
	     {"", "32", "99", "108", "-1", "nobody", "4294967299"})
		EXPECT_EQ(board_.find_line(text), nullptr) << text;
}

TEST_F(BoardTest, ALineIsExportedOnce)
{
	EXPECT_EQ(board_.export_line(1, DAEMON), 0);
	EXPECT_EQ(line("button").folder, "gpio1");
	EXPECT_EQ(board_.export_line(1, DAEMON), EBUSY);
	EXPECT_EQ(board_.unexport_line(1, DAEMON), 0);
	EXPECT_EQ(board_.unexport_line(1, DAEMON), EINVAL);
	EXPECT_EQ(board_.export_line(1, DAEMON), 0);
}

TEST_F(BoardTest, LinesThatDoNotExistAreNotExported)
{
	for (long number :
	     {-1L, 32L, 99L, 108L, G_MAXLONG, G_MINLONG, 4294967297L}) {
		EXPECT_EQ(board_.export_line(number, DAEMON), EINVAL) << number;
		EXPECT_EQ(board_.unexport_line(number, DAEMON), EINVAL);
	}
}

TEST_F(BoardTest, WhatFirmwareHasExportedStaysItsOwn)
{
	EXPECT_EQ(line("named").folder, "aux");
	EXPECT_EQ(board_.export_line(5, DAEMON), EBUSY);
	EXPECT_EQ(board_.unexport_line(5, DAEMON), EINVAL);
	EXPECT_EQ(line("named").folder, "aux");
}

TEST_F(BoardTest, AnOutputKeepsItsLevelWhenItIsUnexported)
{
	Line &siren = exported("siren");

	board_.set_direction(siren, DirectionWord::HIGH, DAEMON);
	board_.set_active_low(siren, true, DAEMON);
	EXPECT_EQ(board_.unexport_line(siren.number, DAEMON), 0);
	EXPECT_EQ(board_.export_line(siren.number, DAEMON), 0);
	EXPECT_EQ(siren.direction, Direction::OUT);
	EXPECT_EQ(siren.level, Level::HIGH);
	EXPECT_FALSE(siren.active_low);
}

TEST_F(BoardTest, TheEdgeIsForgottenWhenTheLineIsUnexported)
{
	Line &button = exported("button");

	EXPECT_EQ(board_.set_edge(button, Edge::BOTH, DAEMON), 0);
	EXPECT_EQ(board_.unexport_line(button.number, DAEMON), 0);
	EXPECT_EQ(board_.export_line(button.number, DAEMON), 0);
	EXPECT_EQ(button.edge, Edge::NONE);
	board_.drive(button, Level::LOW);
	EXPECT_TRUE(edges_.empty());
}

TEST_F(BoardTest, DirectionWordsAreRawLevels)
{
	Line &siren = exported("siren");

	board_.set_active_low(siren, true, DAEMON);
	board_.set_direction(siren, DirectionWord::HIGH, DAEMON);
	EXPECT_EQ(siren.level, Level::HIGH);
	EXPECT_FALSE(siren.value());
	board_.set_direction(siren, DirectionWord::OUT, DAEMON);
	EXPECT_EQ(siren.level, Level::LOW);
	EXPECT_TRUE(siren.value());
}

TEST_F(BoardTest, ValueIsLogicalAndOnlyAnOutputsCanBeSet)
{
	Line &siren = exported("siren");

	EXPECT_EQ(board_.set_value(siren, true, DAEMON), EPERM);
	board_.set_direction(siren, DirectionWord::OUT, DAEMON);
	EXPECT_EQ(board_.set_value(siren, true, DAEMON), 0);
	EXPECT_EQ(siren.level, Level::HIGH);
	board_.set_active_low(siren, true, DAEMON);
	EXPECT_EQ(siren.level, Level::HIGH) << "polarity moves no line";
	EXPECT_EQ(board_.set_value(siren, true, DAEMON), 0);
	EXPECT_EQ(siren.level, Level::LOW);
}

TEST_F(BoardTest, AnInputShowsWhatIsWiredToIt)
{
	Line &door = exported("door");

	board_.drive(door, Level::HIGH);
	EXPECT_TRUE(door.value());
	board_.set_direction(door, DirectionWord::LOW, DAEMON);
	EXPECT_FALSE(door.value());
	board_.set_direction(door, DirectionWord::IN, DAEMON);
	EXPECT_TRUE(door.value());
}

TEST_F(BoardTest, ARelayMovesTheLineThatFollowsIt)
{
	Line &siren = exported("siren");
	Line &feedback = exported("feedback");

	EXPECT_EQ(board_.set_edge(feedback, Edge::RISING, DAEMON), 0);
	board_.set_direction(siren, DirectionWord::HIGH, DAEMON);
	EXPECT_EQ(feedback.level, Level::HIGH);
	EXPECT_EQ(edges_, std::vector{feedback.number});
	board_.set_value(siren, false, DAEMON);
	EXPECT_EQ(feedback.level, Level::LOW);
}

TEST_F(BoardTest, EdgesAreTheChangesThatWereAskedFor)
{
	const struct {
		Edge edge;
		bool active_low;
		unsigned expected; ///< of one rise and two falls
	} CASES[] = {{Edge::NONE, false, 0},  {Edge::BOTH, false, 3},
		     {Edge::BOTH, true, 3},   {Edge::RISING, false, 1},
		     {Edge::RISING, true, 2}, {Edge::FALLING, false, 2},
		     {Edge::FALLING, true, 1}};
	Line &button = exported("button");

	for (auto &test : CASES) {
		board_.drive(button, Level::HIGH);
		EXPECT_EQ(board_.set_edge(button, test.edge, DAEMON), 0);
		board_.set_active_low(button, test.active_low, DAEMON);
		edges_.clear();
		for (Level level : {Level::LOW, Level::LOW, Level::HIGH,
				    Level::HIGH, Level::LOW})
			board_.drive(button, level);
		EXPECT_EQ(edges_.size(), test.expected)
			<< word(test.edge) << test.active_low;
		EXPECT_EQ(board_.set_edge(button, Edge::NONE, DAEMON), 0);
	}
}

TEST_F(BoardTest, AnOutputCannotBeWatched)
{
	Line &siren = exported("siren");

	board_.set_direction(siren, DirectionWord::OUT, DAEMON);
	EXPECT_EQ(board_.set_edge(siren, Edge::BOTH, DAEMON), EIO);
	EXPECT_EQ(siren.edge, Edge::NONE);
	EXPECT_EQ(board_.set_edge(siren, Edge::NONE, DAEMON), 0);
}

TEST_F(BoardTest, AnEdgeThatIsSetSurvivesTheTurnToAnOutput)
{
	Line &siren = exported("siren");

	EXPECT_EQ(board_.set_edge(siren, Edge::BOTH, DAEMON), 0);
	board_.set_direction(siren, DirectionWord::OUT, DAEMON);
	EXPECT_EQ(board_.set_edge(siren, Edge::BOTH, DAEMON), 0);
	EXPECT_EQ(board_.set_edge(siren, Edge::RISING, DAEMON), EIO);
	EXPECT_EQ(siren.edge, Edge::NONE);
}

TEST_F(BoardTest, AnUnpluggedChipTakesItsLinesAlong)
{
	Chip &chip = *board_.find_chip("main");

	exported("button");
	board_.set_plugged(chip, false);
	EXPECT_FALSE(line("button").exported());
	EXPECT_FALSE(line("named").exported());
	EXPECT_EQ(board_.export_line(1, DAEMON), EINVAL);
	EXPECT_EQ(board_.export_line(100, DAEMON), 0) << "the other chip's";
	board_.set_plugged(chip, true);
	EXPECT_FALSE(line("button").exported());
	EXPECT_EQ(line("named").folder, "aux");
	EXPECT_EQ(board_.export_line(1, DAEMON), 0);
}

TEST_F(BoardTest, AnUnpluggedLineIsAloneInThat)
{
	exported("button");
	board_.set_plugged(line("button"), false);
	EXPECT_EQ(board_.export_line(1, DAEMON), EINVAL);
	EXPECT_EQ(board_.export_line(2, DAEMON), 0);
	board_.set_plugged(line("button"), true);
	EXPECT_EQ(board_.export_line(1, DAEMON), 0);
}

TEST_F(BoardTest, TheHistoryTellsEveryStepAndWhoTookIt)
{
	guint64 since = last_change(board_);
	Line &siren = exported("siren");

	board_.set_direction(siren, DirectionWord::OUT, DAEMON);
	board_.set_value(siren, true, DAEMON);
	board_.set_value(siren, true, DAEMON);
	board_.set_active_low(siren, true, DAEMON);
	board_.set_fault(siren, Access::READ, EIO);
	board_.set_fault(siren, Access::READ, 0);
	board_.unexport_line(siren.number, BOARD);

	EXPECT_EQ(changes_since(board_, since),
		  (std::vector<std::string>{
			  "3 siren exported gpio3 daemon(4711)",
			  "3 siren direction out daemon(4711)",
			  "3 siren write 1 daemon(4711)",
			  "3 siren level high daemon(4711)",
			  "4 feedback level high board",
			  "3 siren write 1 daemon(4711)",
			  "3 siren active_low 1 daemon(4711)",
			  "3 siren fault read:EIO board",
			  "3 siren fault read:none board",
			  "3 siren unexported gpio3 board",
		  }));
}

TEST_F(BoardTest, WhatWasRefusedIsNoChange)
{
	Line &siren = exported("siren");
	guint64 since = last_change(board_);

	EXPECT_EQ(board_.set_value(siren, true, DAEMON), EPERM);
	EXPECT_EQ(board_.export_line(3, DAEMON), EBUSY);
	board_.drive(siren, Level::LOW);
	EXPECT_TRUE(changes_since(board_, since).empty());
}

TEST(BoardAtPowerOn, ALineIsAsTheBootLoaderHasLeftIt)
{
	Board board(
		describe_board("[Chip c]\nBase=0\nLines=8\n"
			       "[Line on]\nNumber=1\nDirection=out\nIdle=high\n"
			       "[Line off]\nNumber=2\nDirection=out\n"));
	Line &on = *board.find_line("on");
	Line &off = *board.find_line("off");

	board.power_on({});
	EXPECT_EQ(on.direction, Direction::OUT);
	EXPECT_EQ(on.level, Level::HIGH);
	EXPECT_EQ(off.level, Level::LOW);
	board.drive(on, Level::LOW);
	EXPECT_EQ(on.level, Level::HIGH) << "the chip drives it";
	EXPECT_EQ(board.set_value(on, false, DAEMON), 0);
	EXPECT_EQ(on.level, Level::LOW);
	EXPECT_EQ(board.set_value(on, true, DAEMON), 0);
	board.set_direction(on, DirectionWord::IN, DAEMON);
	EXPECT_EQ(on.level, Level::LOW);
}
