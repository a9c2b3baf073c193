#include "iio-fixture.h"
#include "simboard/commands.h"
#include "simboard/picture.h"
#include "simboard/state.h"

using namespace simboard;

namespace
{

class IioCommandsTest : public testing::Test
{
protected:
	IioCommandsTest()
	{
		iio_.power_on({});
	}
	/// The whole answer.
	std::string ask(const Words &words)
	{
		std::string answer;
		bool ended = false;

		run_board_command(
			bench_, words,
			Reply([&](const std::string &text, bool last) {
				answer += text;
				ended = last;
				return true;
			}));
		while (!ended)
			g_main_context_iteration(nullptr, TRUE);
		return answer;
	}

	Board board_{describe_iio()};
	Converters converters_{board_.description(), board_.history()};
	Iio iio_{board_.description(), board_.history()};
	Loops loops_{board_.description(), converters_, iio_, board_};
	Hand hand_{board_};
	Ramps ramps_{loops_};
	Bench bench_{board_, converters_, iio_, loops_, hand_, ramps_, {}};
	IioDevice &main_ = *iio_.find("main");
	IioChannel &second_ = *iio_.find_channel("main/2");
};

} // namespace

TEST_F(IioCommandsTest, AdcSetsAChannel)
{
	EXPECT_EQ(ask({"adc", "main/2", "4095"}), "ok\n");
	EXPECT_EQ(second_.value, 4095);
	EXPECT_EQ(ask({"adc", "main/2", "4096"}),
		  "error 4096 is not a number from 0 to 4095\n");
	EXPECT_EQ(ask({"adc", "main/2", "-1"}),
		  "error -1 is not a number from 0 to 4095\n");
	EXPECT_EQ(ask({"adc", "main/1", "0"}),
		  "error there is no channel main/1\n");
	EXPECT_EQ(ask({"adc", "main", "0"}),
		  "error there is no channel main\n");
	EXPECT_EQ(second_.value, 4095);
}

TEST_F(IioCommandsTest, RampIsDoneAtItsEnd)
{
	EXPECT_EQ(ask({"ramp", "main/2", "0", "500", "5"}), "ok\n");
	EXPECT_EQ(second_.value, 500);
	EXPECT_EQ(ask({"ramp", "main/2", "9", "7", "2", "1"}), "ok\n");
	EXPECT_EQ(second_.value, 7);
	EXPECT_EQ(ask({"ramp", "main/2", "0", "5", "0"}),
		  "error 0 is not a number from 1 to 1000000\n");
	EXPECT_EQ(ask({"ramp", "main/2", "0", "x", "1"}),
		  "error x is not a number from 0 to 4095\n");
	EXPECT_EQ(ask({"ramp", "watch", "0", "1", "1"}),
		  "error there is no channel watch\n");
}

TEST_F(IioCommandsTest, FailChoosesWhatFails)
{
	EXPECT_EQ(ask({"fail", "main", "EIO", "read"}), "ok\n");
	EXPECT_EQ(main_.faults.of(IioAccess::READ), EIO);
	EXPECT_EQ(main_.faults.of(IioAccess::EVENT), 0);
	EXPECT_EQ(ask({"fail", "main", "SHORT"}), "ok\n");
	EXPECT_EQ(main_.faults.of(IioAccess::EVENT), SHORT_READ);
	EXPECT_EQ(main_.faults.of(IioAccess::OPEN), 0);
	EXPECT_EQ(ask({"fail", "main", "SHORT", "open"}),
		  "error only read and event can be short\n");
	EXPECT_EQ(ask({"fail", "main", "none"}), "ok\n");
	EXPECT_EQ(main_.faults.of(IioAccess::READ), 0);
	EXPECT_EQ(ask({"fail", "main", "EIO", "buffer/nothing"}),
		  "error buffer/nothing is not read, event, attribute, write, "
		  "ioctl or open, or an attribute\n");
	main_.file_faults["buffer/enable"] = 0;
	EXPECT_EQ(ask({"fail", "main", "EIO", "buffer/enable"}), "ok\n");
	EXPECT_EQ(main_.attribute_fault("buffer/enable", true), EIO);
	EXPECT_NE(ask({"state", "main"}).find("\tbuffer/enable:EIO\n"),
		  std::string::npos);
}

TEST_F(IioCommandsTest, StateTellsDevicesChannelsAndTriggers)
{
	ask({"fail", "main", "SHORT", "event"});
	iio_.triggers().make("timer", DAEMON);
	iio_.set_trigger(main_, "timer", DAEMON);
	EXPECT_EQ(ask({"state", "main"}),
		  " board\tTest board\n"
		  " iio\tmain\tadc0\tiio:device0\ttimer\t0\t2\t0\t0\t0\t0\t0"
		  "\tevent:SHORT\n"
		  " channel\tmain/0\tin_voltage0\t0\t0\t-\t-\t-\t0\t0\t-\n"
		  " channel\tmain/2\tin_voltage2\t100\t0\t-\t-\t-\t0\t0\t-\n"
		  "ok\n");
	IioChannel &watched = *iio_.find_channel("watch/1");
	iio_.set_threshold(watched, Crossing::RISING, 9, DAEMON);
	iio_.enable_event(watched, Crossing::RISING, true, DAEMON);
	EXPECT_NE(ask({"state", "watch"})
			  .find(" channel\twatch/1\tin_voltage1\t1365\t0\t9\t0"
				"\trising\t0\t0\tyard\n"),
		  std::string::npos);
	EXPECT_NE(ask({"state"}).find(
			  " trigger\ttimer\ttrigger0\t100.000000\t0\nok\n"),
		  std::string::npos);
}

TEST_F(IioCommandsTest, ThePictureShowsThem)
{
	std::string picture = board_picture(
		{board_row("b"), iio_row(main_), channel_row(second_)}, false);

	EXPECT_NE(picture.find("\nmain  adc0  iio:device0\n"),
		  std::string::npos)
		<< picture;
	EXPECT_NE(picture.find("\nmain/2   in_voltage2  100\n"),
		  std::string::npos)
		<< picture;
}

TEST_F(IioCommandsTest, ALevelHasABarOfItsOwnScale)
{
	Loop &yard = *loops_.find("yard");

	loops_.set_raw(*yard.channel, 2048);
	EXPECT_NE(board_picture({board_row("b"), loop_row(yard)}, false)
			  .find("2048 [##########..........]"),
		  std::string::npos);
}

TEST_F(IioCommandsTest, DevicesAreUnplugged)
{
	EXPECT_EQ(ask({"unplug", "main"}), "ok\n");
	EXPECT_FALSE(main_.plugged);
	EXPECT_EQ(ask({"plug", "main"}), "ok\n");
	EXPECT_TRUE(main_.plugged);
}
