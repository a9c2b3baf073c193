#include "iio-fixture.h"
#include "simboard/iio.h"
#include "simboard/ramps.h"

#include <linux/iio/events.h>

#include <cstring>

using namespace simboard;

namespace
{

using enum Crossing;

class IioTest : public testing::Test
{
protected:
	IioTest()
	{
		iio_.power_on({});
	}
	/// Makes a fast trigger and has the device use it.
	void attach(IioDevice &device)
	{
		EXPECT_EQ(iio_.triggers().make("timer", DAEMON), 0);
		EXPECT_EQ(iio_.triggers().find("timer")->set_frequency("2000"),
			  0);
		EXPECT_EQ(iio_.set_trigger(device, "timer", DAEMON), 0);
	}
	void run(IioDevice &device)
	{
		attach(device);
		for (auto &[number, channel] : device.channels)
			EXPECT_EQ(iio_.set_scanned(channel, true, DAEMON), 0);
		EXPECT_EQ(iio_.set_running(device, true, DAEMON), 0);
	}
	static void wait_for_scans(const IioDevice &device, std::size_t count)
	{
		while (device.scans < count)
			g_main_context_iteration(nullptr, TRUE);
	}
	/// Has the channel report crossings of these thresholds.
	void arm(IioChannel &channel, int falling, int rising)
	{
		iio_.set_threshold(channel, RISING, rising, DAEMON);
		iio_.set_threshold(channel, FALLING, falling, DAEMON);
		iio_.enable_event(channel, RISING, true, DAEMON);
		iio_.enable_event(channel, FALLING, true, DAEMON);
	}
	/// The ids of the events that wait.
	std::vector<guint64> events(IioDevice &device)
	{
		std::vector<guint64> ids;
		iio_event_data event;
		std::string data;

		while (iio_.read_events(device, sizeof(event), data) == 0) {
			memcpy(&event, data.data(), sizeof(event));
			ids.push_back(event.id);
		}
		return ids;
	}

	Board board_{describe_iio()};
	Iio iio_{board_.description(), board_.history()};
	Converters converters_{board_.description(), board_.history()};
	Loops loops_{board_.description(), converters_, iio_, board_};
	IioDevice &main_ = *iio_.find("main");
	IioDevice &watch_ = *iio_.find("watch");
	IioChannel &first_ = *iio_.find_channel("main/0");
	IioChannel &second_ = *iio_.find_channel("main/2");
	IioChannel &watched_ = *iio_.find_channel("watch/1");
	std::string data_;
};

} // namespace

TEST_F(IioTest, DevicesAreNumberedInTheFilesOrder)
{
	EXPECT_EQ(main_.file(), "iio:device0");
	EXPECT_EQ(iio_.find("simple")->file(), "iio:device3");
	EXPECT_EQ(second_.title(), "main/2");
	EXPECT_EQ(second_.stem, "in_voltage2_");
	EXPECT_EQ(iio_.find_channel("simple/3")->stem, "in_voltage3_aux_");
	EXPECT_EQ(iio_.find_channel("prox/0")->stem, "in_proximity_");
	EXPECT_EQ(iio_.find_channel("main/1"), nullptr);
	EXPECT_EQ(iio_.find_channel("main"), nullptr);
	EXPECT_EQ(iio_.find_channel("main/x"), nullptr);
}

TEST_F(IioTest, ABufferNeedsAChannelAndATrigger)
{
	EXPECT_EQ(iio_.set_running(main_, true, DAEMON), EINVAL);
	attach(main_);
	EXPECT_EQ(iio_.set_running(main_, true, DAEMON), EINVAL);
	EXPECT_EQ(iio_.set_scanned(second_, true, DAEMON), 0);
	EXPECT_EQ(iio_.set_trigger(main_, "nobody", DAEMON), 0);
	EXPECT_EQ(main_.trigger, nullptr);
	EXPECT_EQ(iio_.set_running(main_, true, DAEMON), EINVAL);
	EXPECT_FALSE(main_.running);
}

TEST_F(IioTest, NothingIsSetWhileTheBufferIsEnabled)
{
	run(main_);
	EXPECT_EQ(iio_.set_scanned(second_, false, DAEMON), EBUSY);
	EXPECT_EQ(iio_.set_length(main_, 9, DAEMON), EBUSY);
	EXPECT_EQ(iio_.set_trigger(main_, "timer", DAEMON), EBUSY);
	EXPECT_EQ(iio_.set_running(main_, true, DAEMON), 0);
	EXPECT_EQ(iio_.set_running(main_, false, DAEMON), 0);
	EXPECT_EQ(iio_.set_length(main_, 9, DAEMON), 0);
}

TEST_F(IioTest, ATimerRunsOnlyForABuffer)
{
	run(main_);
	IioTriggerPtr timer = iio_.triggers().find("timer");
	EXPECT_EQ(timer->users(), 1u);
	wait_for_scans(main_, 2);
	iio_.set_running(main_, false, DAEMON);
	EXPECT_EQ(timer->users(), 0u);
	EXPECT_FALSE(g_main_context_pending(nullptr));
	iio_.set_running(main_, true, DAEMON);
	iio_.set_plugged(main_, false);
	EXPECT_EQ(timer->users(), 0u);
}

TEST_F(IioTest, ScansAreOfEveryChannelInOrder)
{
	iio_.set_value(first_, 0x123);
	iio_.set_value(second_, 0xfff);
	run(main_);
	EXPECT_EQ(iio_.read_samples(main_, 4, data_), Iio::NOTHING_YET);
	wait_for_scans(main_, 1);
	EXPECT_EQ(iio_.read_samples(main_, 3, data_), EINVAL);
	ASSERT_EQ(iio_.read_samples(main_, 7, data_), 0);
	EXPECT_EQ(data_, "\x30\x12\xf0\xff");
	EXPECT_EQ(second_.readings, 1u);
}

TEST_F(IioTest, AFullBufferKeepsTheOldest)
{
	EXPECT_EQ(iio_.set_length(main_, 3, DAEMON), 0);
	iio_.set_value(second_, 1);
	run(main_);
	wait_for_scans(main_, 1);
	iio_.set_value(second_, 2);
	wait_for_scans(main_, 10);
	EXPECT_EQ(main_.buffer.count(), 4u) << "as kfifo rounds it up";
	EXPECT_EQ(main_.lost, main_.scans - 4);
	ASSERT_EQ(iio_.read_samples(main_, 4, data_), 0);
	EXPECT_EQ(data_[2], 0x10);
	iio_.set_running(main_, false, DAEMON);
	EXPECT_EQ(iio_.read_samples(main_, 100, data_), 0)
		<< "what is there can be read";
	EXPECT_EQ(data_.size(), 12u);
	iio_.set_length(main_, 0, DAEMON);
	EXPECT_EQ(main_.length, 2u);
	iio_.set_length(main_, G_MAXUINT, DAEMON);
	EXPECT_EQ(iio_.set_running(main_, true, DAEMON), ENOMEM);
}

TEST_F(IioTest, ABufferThatNeverRanIsAtItsEnd)
{
	EXPECT_EQ(iio_.read_samples(main_, 4, data_), 0);
	EXPECT_EQ(data_, "");
	EXPECT_EQ(iio_.read_samples(*iio_.find("prox"), 4, data_), EINVAL);
}

TEST_F(IioTest, ARemovedTriggerFiresNoMore)
{
	run(main_);
	EXPECT_EQ(iio_.triggers().remove("timer", DAEMON), 0);
	EXPECT_EQ(iio_.triggers().remove("timer", DAEMON), ENOENT);
	while (g_main_context_iteration(nullptr, FALSE))
		continue;
	EXPECT_FALSE(g_main_context_pending(nullptr));
	EXPECT_EQ(main_.trigger->name, "timer");
	EXPECT_EQ(iio_.set_running(main_, false, DAEMON), 0);
}

TEST_F(IioTest, TriggersHaveTheLowestFreeNumber)
{
	IioTriggers &triggers = iio_.triggers();

	EXPECT_EQ(triggers.make("a", DAEMON), 0);
	EXPECT_EQ(triggers.make("b", DAEMON), 0);
	EXPECT_EQ(triggers.make("b", DAEMON), EEXIST);
	EXPECT_EQ(triggers.find("b")->number, 1u);
	triggers.remove("a", DAEMON);
	triggers.make("c d", DAEMON);
	EXPECT_EQ(triggers.find("c d")->number, 0u);
	EXPECT_EQ(changes_since(board_).back(),
		  "- c_d plugged trigger daemon(4711)");
}

TEST(IioTrigger, TakesFrequenciesAsTheKernelDoes)
{
	IioTrigger trigger("t", 0);

	EXPECT_EQ(micro_text(trigger.frequency()), "100.000000");
	EXPECT_EQ(trigger.set_frequency("12.3456\n"), 0);
	EXPECT_EQ(micro_text(trigger.frequency()), "12.345000");
	for (const char *text : {"0", "0.0001", "", "4294968", "x", "1e3"})
		EXPECT_EQ(trigger.set_frequency(text), EINVAL) << text;
	EXPECT_EQ(trigger.set_frequency("-1"), ERANGE);
	EXPECT_EQ(micro_text(trigger.frequency()), "12.345000");
}

TEST_F(IioTest, CrossingsAreEventsForWhoeverListens)
{
	arm(watched_, 1000, 2000);
	iio_.set_value(watched_, 2500);
	EXPECT_EQ(watched_.events, 1u);
	ASSERT_EQ(iio_.open_events(watch_), 0);
	EXPECT_TRUE(events(watch_).empty()) << "it was before";
	iio_.set_value(watched_, 2600);
	EXPECT_TRUE(events(watch_).empty());
	iio_.set_value(watched_, 500);
	iio_.set_value(watched_, 2000);
	EXPECT_EQ(events(watch_), (std::vector<guint64>{0x0002000000000001,
							0x0001000000000001}));
	iio_.enable_event(watched_, FALLING, false, DAEMON);
	iio_.set_value(watched_, 0);
	EXPECT_TRUE(events(watch_).empty());
}

TEST_F(IioTest, EventsThatNobodyReadsAreLost)
{
	arm(watched_, 1, 1000);
	iio_.open_events(watch_);
	EXPECT_EQ(iio_.open_events(watch_), EBUSY);
	for (int i = 0; i < 20; ++i) {
		iio_.set_value(watched_, 1000);
		iio_.set_value(watched_, 0);
	}
	EXPECT_EQ(events(watch_).size(), 16u);
	iio_.close_events(watch_);
	EXPECT_EQ(iio_.open_events(watch_), 0);
}

TEST_F(IioTest, ReadsFailAsLongAsSomebodyWants)
{
	run(main_);
	wait_for_scans(main_, 2);
	iio_.set_fault(main_, IioAccess::READ, SHORT_READ);
	EXPECT_EQ(iio_.read_samples(main_, 4, data_), 0);
	EXPECT_EQ(data_.size(), 2u);
	iio_.set_fault(main_, IioAccess::READ, EIO);
	EXPECT_EQ(iio_.read_samples(main_, 4, data_), EIO);
	EXPECT_EQ(main_.buffer.count(), 0u) << "what was read is gone";
	EXPECT_EQ(iio_.read_samples(main_, 4, data_), EIO);
	iio_.set_fault(main_, IioAccess::READ, 0);
	EXPECT_EQ(iio_.read_samples(main_, 4, data_), Iio::NOTHING_YET);
	iio_.set_fault(main_, IioAccess::OPEN, EPERM);
	EXPECT_EQ(iio_.open_device(main_), EPERM);
}

TEST_F(IioTest, AttributesFailOneByOneOrAll)
{
	const std::string raw = "in_voltage0_raw";

	EXPECT_EQ(main_.attribute_fault(raw, false), 0);
	iio_.set_fault(main_, IioAccess::WRITE, EIO);
	EXPECT_EQ(main_.attribute_fault(raw, false), 0);
	EXPECT_EQ(main_.attribute_fault(raw, true), EIO);
	iio_.set_file_fault(main_, raw, EPERM);
	EXPECT_EQ(main_.attribute_fault(raw, true), EPERM);
	EXPECT_EQ(main_.attribute_fault("name", false), 0);
	iio_.set_fault(main_, IioAccess::ATTRIBUTE, ENOMEM);
	EXPECT_EQ(main_.attribute_fault("name", false), ENOMEM);
}

TEST_F(IioTest, WhatIsPluggedInIsAsAtPowerOn)
{
	run(main_);
	iio_.set_value(second_, 77);
	iio_.open_device(main_);
	iio_.set_plugged(main_, false);
	iio_.set_plugged(main_, true);
	EXPECT_FALSE(main_.running);
	EXPECT_FALSE(main_.open);
	EXPECT_FALSE(second_.scanned);
	EXPECT_EQ(main_.trigger, nullptr);
	EXPECT_EQ(second_.value, 77);
}

TEST_F(IioTest, ALoopIsMeasuredAtFullScale)
{
	Loop &yard = *loops_.find("yard");

	EXPECT_EQ(watched_.value, 1365) << "a third of 4095";
	loops_.set(yard, LoopState::CUT);
	EXPECT_EQ(yard.level(), 4095);
	arm(watched_, 1, 4000);
	loops_.set(yard, LoopState::SHORT);
	EXPECT_EQ(watched_.events, 1u);
	loops_.set_raw(watched_, 5);
	EXPECT_EQ(yard.state, "raw");
	EXPECT_EQ(changes_since(board_).back(), "- yard level 5 board");
	loops_.set_raw(second_, 6);
	EXPECT_EQ(changes_since(board_).back(), "- main level 2:6 board");
}

TEST_F(IioTest, ARampPassesEveryStep)
{
	Ramps ramps(loops_);
	bool done = false;
	guint64 since = last_change(board_);

	ramps.start(second_, {10, 0, 1, 0}, [] {});
	ramps.start(second_, {200, 50, 3, 1}, [&done] { done = true; });
	EXPECT_EQ(second_.value, 200);
	while (!done)
		g_main_context_iteration(nullptr, TRUE);
	EXPECT_EQ(second_.value, 50);
	std::vector<std::string> changes = changes_since(board_, since);
	EXPECT_EQ(std::vector<std::string>(changes.end() - 3, changes.end()),
		  (std::vector<std::string>{"- main level 2:150 board",
					    "- main level 2:100 board",
					    "- main level 2:50 board"}));
}
