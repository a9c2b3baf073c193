#include "board-fixture.h"
#include "simboard/loops.h"

using namespace simboard;

namespace
{

class LoopsTest : public testing::Test
{
protected:
	Board board_{describe_loops()};
	Converters converters_{board_.description(), board_.history()};
	Iio iio_{board_.description(), board_.history()};
	Loops loops_{board_.description(), converters_, iio_, board_};
	Converter &adc_ = *converters_.find("adc");
	Loop &front_ = *loops_.find("front");
	Loop &gate_ = *loops_.find("gate");
	Line &door_ = *board_.find_line("entrance");
};

} // namespace

TEST_F(LoopsTest, ContactsStartAsTheyAreWired)
{
	EXPECT_EQ(front_.state, "closed");
	EXPECT_EQ(adc_.adc.level(0x1f), 85u);
	EXPECT_EQ(gate_.state, "open");
	EXPECT_EQ(adc_.adc.level(2), 170u);
	EXPECT_EQ(adc_.adc.level(3), 0u);
	EXPECT_EQ(door_.level, Level::LOW);
	EXPECT_TRUE(changes_since(board_).empty());
}

TEST_F(LoopsTest, TheChannelReadsTheState)
{
	loops_.set(front_, LoopState::CUT);
	EXPECT_EQ(adc_.adc.level(0x1f), 255u);
	loops_.set(front_, LoopState::SHORT);
	EXPECT_EQ(adc_.adc.level(0x1f), 0u);
	loops_.set_ohms(front_, 6000);
	EXPECT_EQ(front_.level(), 191u) << "255 * 6000 / 8000 = 191.25";
	EXPECT_EQ(front_.state, "6000");
	EXPECT_EQ(gate_.level(), 170u);
}

TEST_F(LoopsTest, TheLineReadsTheSameContact)
{
	for (LoopState state : {LoopState::OPEN, LoopState::CUT}) {
		loops_.set(front_, state);
		EXPECT_EQ(door_.level, Level::HIGH);
		loops_.set(front_, LoopState::CLOSED);
		EXPECT_EQ(door_.level, Level::LOW);
	}
	loops_.set(front_, LoopState::SHORT);
	EXPECT_EQ(door_.level, Level::LOW);
	loops_.set_ohms(front_, 2501);
	EXPECT_EQ(door_.level, Level::HIGH);
	loops_.set_ohms(front_, 2500);
	EXPECT_EQ(door_.level, Level::LOW);
	loops_.set(gate_, LoopState::CLOSED);
	EXPECT_EQ(door_.level, Level::LOW) << "of another loop";
	EXPECT_EQ(loops_.find_contact(door_), &front_);
	EXPECT_EQ(loops_.find_contact(*board_.find_line("named")), nullptr);
}

TEST_F(LoopsTest, AChannelMayBeSetWhateverIsConnected)
{
	loops_.set_raw(adc_, 0x1f, 33);
	EXPECT_EQ(front_.state, "raw");
	EXPECT_EQ(front_.level(), 33u);
	EXPECT_EQ(door_.level, Level::LOW);
	loops_.set_raw(adc_, 77, 44);
	EXPECT_EQ(adc_.adc.level(77), 44u);
	loops_.set(front_, LoopState::CLOSED);
	EXPECT_EQ(front_.state, "closed");
	EXPECT_EQ(front_.level(), 85u);
	EXPECT_EQ(adc_.adc.level(77), 44u);
}

TEST_F(LoopsTest, ChangesAreInTheHistory)
{
	loops_.set(front_, LoopState::OPEN);
	loops_.set(front_, LoopState::OPEN);
	loops_.set_raw(adc_, 0x1f, 9);
	loops_.set_raw(adc_, 0x10, 8);
	EXPECT_EQ(
		changes_since(board_),
		(std::vector<std::string>{
			"- front loop open board", "- front level 170 board",
			"6 entrance level high board", "- front loop raw board",
			"- front level 9 board", "- adc level 0x10:8 board"}));
}

TEST(LoopsAtPowerOn, AnOpenContactShowsOnItsLineToo)
{
	Board board(
		describe_board(std::string(BOARD_TEXT) +
			       "[Converter adc]\nDevice=spidev0.0\n[Loop "
			       "gate]\nConverter=adc\n"
			       "Address=1\nWiring=normally open\nLine=door\n"));
	Converters converters(board.description(), board.history());
	Iio iio(board.description(), board.history());
	Loops loops(board.description(), converters, iio, board);

	EXPECT_EQ(board.find_line("door")->level, Level::HIGH);
}
