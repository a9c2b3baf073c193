#include "board-fixture.h"
#include "simboard/commands.h"

#include <algorithm>

using namespace simboard;

namespace
{

class CommandsTest : public testing::Test
{
protected:
	CommandsTest()
	{
		board_.power_on({});
		converters_.power_on({[](Converter &) {}, [](Converter &) {}});
	}

	void start(const Words &words)
	{
		text_.clear();
		ended_ = false;
		run_board_command(
			bench_, words,
			Reply([this](const std::string &text, bool last) {
				EXPECT_FALSE(ended_) << "one status only";
				text_ += text;
				ended_ = last;
				return true;
			}));
	}
	/// The whole answer.
	std::string ask(const Words &words)
	{
		start(words);
		while (!ended_)
			g_main_context_iteration(nullptr, TRUE);
		return text_;
	}
	std::string level(const std::string &line)
	{
		return word(board_.find_line(line)->level);
	}

	Board board_{describe_loops()};
	Converters converters_{board_.description(), board_.history()};
	Iio iio_{board_.description(), board_.history()};
	Loops loops_{board_.description(), converters_, iio_, board_};
	Hand hand_{board_};
	Ramps ramps_{loops_};
	Bench bench_{board_, converters_,         iio_, loops_, hand_,
		     ramps_, [](const Reply &) {}};
	std::string text_;
	bool ended_ = false;
};

} // namespace

TEST_F(CommandsTest, PressHoldsTheButtonForAWhile)
{
	start({"press", "button", "1"});
	EXPECT_EQ(level("button"), "low");
	EXPECT_FALSE(ended_);
	while (!ended_)
		g_main_context_iteration(nullptr, TRUE);
	EXPECT_EQ(text_, "ok\n");
	EXPECT_EQ(level("button"), "high");
}

TEST_F(CommandsTest, AHeldButtonIsReleasedByHand)
{
	EXPECT_EQ(ask({"hold", "button"}), "ok\n");
	EXPECT_EQ(level("button"), "low");
	EXPECT_EQ(ask({"press", "button"}), "error button is held down\n");
	EXPECT_EQ(ask({"release", "button"}), "ok\n");
	EXPECT_EQ(level("button"), "high");
}

TEST_F(CommandsTest, ADoorIsOpenedAndClosed)
{
	EXPECT_EQ(ask({"open", "door"}), "ok\n");
	EXPECT_EQ(level("door"), "high");
	EXPECT_EQ(ask({"close", "2"}), "ok\n");
	EXPECT_EQ(level("door"), "low");
}

TEST_F(CommandsTest, OnlyWhatIsWiredSoTakesTheCommand)
{
	EXPECT_EQ(ask({"press", "door"}), "error door is no button\n");
	EXPECT_EQ(ask({"open", "button"}), "error button is no door contact\n");
	EXPECT_EQ(ask({"line", "feedback", "high"}),
		  "error feedback follows siren\n");
	EXPECT_EQ(ask({"burst", "feedback", "2"}),
		  "error feedback follows siren\n");
}

TEST_F(CommandsTest, AnyLineIsDrivenFromOutside)
{
	EXPECT_EQ(ask({"line", "20", "high"}), " high\nok\n");
	EXPECT_EQ(ask({"line", "20", "toggle"}), " low\nok\n");
	EXPECT_EQ(ask({"line", "20", "up"}),
		  "error up is not high, low or toggle\n");
}

TEST_F(CommandsTest, WhatDrivesAnOutputShowsWhenItIsAnInputAgain)
{
	Line &siren = *board_.find_line("siren");

	board_.set_direction(siren, DirectionWord::LOW, DAEMON);
	EXPECT_EQ(ask({"line", "siren", "high"}), " low\nok\n");
	board_.set_direction(siren, DirectionWord::IN, DAEMON);
	EXPECT_EQ(level("siren"), "high");
}

TEST_F(CommandsTest, ABurstChangesTheLevelThatOften)
{
	guint64 since = last_change(board_);

	EXPECT_EQ(ask({"burst", "door", "7"}), " high\nok\n");
	EXPECT_EQ(changes_since(board_, since).size(), 7u);
	for (const char *count : {"0", "-1", "1000001", "x"})
		EXPECT_EQ(ask({"burst", "door", count}),
			  "error " + std::string(count) +
				  " is not a number from 1 to 1000000\n");
}

TEST_F(CommandsTest, FaultsAreNumbersOrSymbols)
{
	Line &door = *board_.find_line("door");

	EXPECT_EQ(ask({"fail", "door", "EIO"}), "ok\n");
	EXPECT_EQ(door.fault(Access::READ), EIO);
	EXPECT_EQ(door.fault(Access::WRITE), EIO);
	EXPECT_EQ(door.fault(Access::EXPORT), EIO);
	EXPECT_EQ(ask({"fail", "door", "22", "write"}), "ok\n");
	EXPECT_EQ(door.fault(Access::WRITE), EINVAL);
	EXPECT_EQ(ask({"fail", "door", "none"}), "ok\n");
	EXPECT_EQ(door.fault(Access::READ), 0);
	for (const char *text : {"EFOO", "0", "-5", "41", "134", ""})
		EXPECT_EQ(ask({"fail", "door", text}),
			  "error " + std::string(text) + " is no error\n");
	EXPECT_EQ(ask({"fail", "door", "EIO", "open"}),
		  "error open is not read, write or export\n");
}

TEST_F(CommandsTest, TheKernelsRefusalIsPassedOn)
{
	EXPECT_EQ(ask({"export", "door"}), "ok\n");
	EXPECT_EQ(ask({"export", "door"}),
		  "error door: Device or resource busy (EBUSY)\n");
	EXPECT_EQ(ask({"unexport", "door"}), "ok\n");
	EXPECT_EQ(ask({"unexport", "door"}),
		  "error door: Invalid argument (EINVAL)\n");
}

TEST_F(CommandsTest, ChipsAndLinesArePulledOut)
{
	EXPECT_EQ(ask({"unplug", "main"}), "ok\n");
	EXPECT_FALSE(board_.find_line("named")->exported());
	EXPECT_EQ(ask({"plug", "main"}), "ok\n");
	EXPECT_TRUE(board_.find_line("named")->exported());
	EXPECT_EQ(ask({"unplug", "nobody"}),
		  "error there is no chip, line or converter nobody\n");
}

TEST_F(CommandsTest, ALoopTellsItsLevel)
{
	EXPECT_EQ(ask({"loop", "front", "open"}), " 170\nok\n");
	EXPECT_EQ(ask({"loop", "front", "short"}), " 0\nok\n");
	EXPECT_EQ(ask({"loop", "front", "2000"}), " 128\nok\n");
	EXPECT_EQ(ask({"loop", "gate", "closed"}), " 85\nok\n");
	EXPECT_EQ(ask({"loop", "nobody", "open"}),
		  "error there is no loop nobody\n");
	for (const char *state : {"shut", "-1", "10000001", "raw", "1.5"})
		EXPECT_EQ(ask({"loop", "front", state}),
			  "error " + std::string(state) +
				  " is not open, closed, short, cut or a "
				  "number from 0 to 10000000\n");
}

TEST_F(CommandsTest, OpeningTheDoorOpensItsLoop)
{
	EXPECT_EQ(ask({"open", "entrance"}), "ok\n");
	EXPECT_EQ(loops_.find("front")->level(), 170u);
	EXPECT_EQ(ask({"close", "entrance"}), "ok\n");
	EXPECT_EQ(loops_.find("front")->level(), 85u);
	EXPECT_EQ(ask({"line", "entrance", "high"}),
		  "error entrance is the contact of front\n");
	EXPECT_EQ(ask({"burst", "entrance", "3"}),
		  "error entrance is the contact of front\n");
}

TEST_F(CommandsTest, AChannelIsSetDirectly)
{
	EXPECT_EQ(ask({"adc", "adc/0x1f", "200"}), "ok\n");
	EXPECT_EQ(loops_.find("front")->level(), 200u);
	EXPECT_EQ(ask({"adc", "adc/255", "0xff"}), "ok\n");
	EXPECT_EQ(converters_.find("adc")->adc.level(255), 255u);
	EXPECT_EQ(ask({"adc", "adc/256", "1"}),
		  "error 256 is not a number from 0 to 255\n");
	EXPECT_EQ(ask({"adc", "adc/1", "256"}),
		  "error 256 is not a number from 0 to 255\n");
	EXPECT_EQ(ask({"adc", "adc", "1"}),
		  "error  is not a number from 0 to 255\n");
	EXPECT_EQ(ask({"adc", "front/1", "1"}),
		  "error there is no converter front\n");
}

TEST_F(CommandsTest, AConverterFailsInItsOwnWays)
{
	Converter &adc = *converters_.find("adc");

	EXPECT_EQ(ask({"fail", "adc", "EIO"}), "ok\n");
	EXPECT_EQ(adc.faults.of(SpiAccess::TRANSFER), EIO);
	EXPECT_EQ(adc.faults.of(SpiAccess::IOCTL), EIO);
	EXPECT_EQ(adc.faults.of(SpiAccess::OPEN), EIO);
	EXPECT_EQ(ask({"fail", "adc", "none", "open"}), "ok\n");
	EXPECT_EQ(adc.faults.of(SpiAccess::OPEN), 0);
	EXPECT_EQ(adc.faults.of(SpiAccess::IOCTL), EIO);
	EXPECT_EQ(ask({"fail", "adc", "EIO", "read"}),
		  "error read is not transfer, ioctl or open\n");
	EXPECT_EQ(ask({"fail", "front", "EIO"}),
		  "error there is no line and no converter front\n");
}

TEST_F(CommandsTest, AConverterIsPulledOut)
{
	EXPECT_EQ(ask({"unplug", "adc"}), "ok\n");
	EXPECT_FALSE(converters_.find("adc")->plugged);
	EXPECT_EQ(ask({"plug", "adc"}), "ok\n");
	EXPECT_TRUE(converters_.find("adc")->plugged);
}

TEST_F(CommandsTest, StateTellsTheLinesOfInterest)
{
	std::string all = ask({"state"});

	EXPECT_TRUE(all.starts_with(" board\tTest board\n line\t1\tbutton\t"
				    "main\tbutton\tin\thigh\tidle\t-\tnone\t0"
				    "\t-\n"))
		<< all;
	EXPECT_EQ(all.find("\t20\t"), std::string::npos);
	EXPECT_EQ(ask({"state", "20"}),
		  " board\tTest board\n line\t20\t-\tmain\twire\tin\tlow\tidle"
		  "\t-\tnone\t0\t-\nok\n");
	ask({"line", "20", "high"});
	EXPECT_NE(ask({"state"}).find("\t20\t"), std::string::npos);
}

TEST_F(CommandsTest, StateTellsConvertersAndLoops)
{
	ask({"fail", "adc", "EIO", "open"});
	ask({"unplug", "adc"});
	EXPECT_EQ(ask({"state", "adc"}),
		  " board\tTest board\n converter\tadc\tspidev0.1\t0\t8"
		  "\t10000000\t0\t0\t0\t0x00\tunplugged open:EIO\nok\n");
	EXPECT_EQ(ask({"state", "front"}),
		  " board\tTest board\n loop\tfront\tadc\t0x1f\tclosed\t85"
		  "\t0\tentrance\t255\nok\n");
	EXPECT_NE(ask({"state"}).find(" loop\tgate\tadc\t0x02\topen\t170"
				      "\t0\t-\t255\nok\n"),
		  std::string::npos);
	EXPECT_EQ(ask({"state", "nobody"}),
		  "error there is no line, loop or converter nobody\n");
}

TEST_F(CommandsTest, HistoryGoesOnWhereOneLeftOff)
{
	guint64 since = last_change(board_);

	ask({"hold", "button"});
	std::string answer = ask({"history", std::to_string(since)});
	EXPECT_NE(answer.find("1 button level low board\nok\n"),
		  std::string::npos)
		<< answer;
	EXPECT_EQ(std::count(answer.begin(), answer.end(), '\n'), 2);
	EXPECT_EQ(ask({"history", "x"}),
		  "error x is not the number of a change\n");
}

TEST_F(CommandsTest, NonsenseIsRefusedInOneLine)
{
	EXPECT_EQ(ask({}), "error there is no command \"\"\n");
	EXPECT_EQ(ask({"\x1b[2J\xff"}),
		  "error there is no command \"\\033[2J\\377\"\n");
	EXPECT_EQ(ask({"press"}), "error usage: press BUTTON [MS]\n");
	EXPECT_EQ(ask({"press", "a", "b", "c"}),
		  "error usage: press BUTTON [MS]\n");
	EXPECT_EQ(ask({"press", "nobody"}), "error there is no line nobody\n");
}
