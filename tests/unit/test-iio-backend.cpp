/// The configuration and the set-up of the "iio" backend; what it measures is
/// in test-iio-watch.cpp, and its faults in test-iio-faults.cpp.

#include "iio-port-fixture.h"

#include <fcntl.h>

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using IioBackendTest = IioTest;

constexpr char kMadeFolder[] =
	"mkdir(/sys/kernel/config/iio/triggers/hrtimer/timer, 775)";

constexpr char kFrequency[] = "trigger0/sampling_frequency";

// ---- configuration ----

TEST_F(IioBackendTest, EachDeviceItemHasAField)
{
	parse("device", "name", "a");
	parse("device", "adc", "b");
	parse("device", "hrtimer", "c");
	parse("device", "freq", "12.5 Hz");
	parse("device", "shift", "-3");
	parse("device", "channel", "7");
	EXPECT_EQ(data()->name, "a");
	EXPECT_EQ(data()->adc, "b");
	EXPECT_EQ(data()->hrtimer, "c");
	EXPECT_EQ(data()->freq, "12.5 Hz");
	EXPECT_EQ(data()->value_shift, -3);
	EXPECT_EQ(data()->voltage_channel, 7);
}

TEST_F(IioBackendTest, TheLastItemCounts)
{
	for (const char *key : {"name", "adc", "hrtimer", "freq"})
		for (const char *value : {"first", "last"})
			parse("device", key, value);
	EXPECT_EQ(data()->name, "last");
	EXPECT_EQ(data()->adc, "last");
	EXPECT_EQ(data()->hrtimer, "last");
	EXPECT_EQ(data()->freq, "last");
}

TEST_F(IioBackendTest, NumbersAreDecimal)
{
	for (const auto &[text, number] :
	     {std::pair("010", 10), {"0x10", 0}, {"4 bits", 4}, {"", 0}}) {
		parse("device", "shift", text);
		parse("device", "channel", text);
		EXPECT_EQ(data()->value_shift, number) << text;
		EXPECT_EQ(data()->voltage_channel, number) << text;
	}
}

TEST_F(IioBackendTest, EachPinHasAnElement)
{
	parse("io_ctrl", "pin", "1");
	parse("sio_ctrl", "pin", "2");
	parse("input", "pin", "3");
	parse("output", "pin", "4");
	EXPECT_EQ(data()->lines.ioctrl->pin, 1);
	EXPECT_EQ(data()->lines.sioctrl->pin, 2);
	EXPECT_EQ(data()->lines.input_pin->pin, 3);
	EXPECT_EQ(data()->lines.output_pin->pin, 4);
}

TEST_F(IioBackendTest, WhatIsUnknownIsIgnored)
{
	parse("device", "path", "/dev/null");
	parse("address", "name", "other");
	parse("Device", "name", "other");
	EXPECT_EQ(data()->name, "");
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioBackendTest, ARangeIsCompleteWithItsUpperLimit)
{
	port_->type = PORT_INPUT;
	parse("range", "state", "open");
	parse("range", "lower", "10");
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
	parse("range", "upper", "20");
	ASSERT_EQ(port_->supervised_ranges.size(), 1U);
	EXPECT_EQ(port_->supervised_ranges.front().lower_limit, 10U);
	EXPECT_EQ(port_->supervised_ranges.front().upper_limit, 20U);
}

TEST_F(IioBackendTest, ARangeThatIsRefusedIsWarnedOf)
{
	port_->type = PORT_INPUT;
	parse_range("open", "20", "20");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to configure port: Invalid range.\n"));
}

TEST_F(IioBackendTest, WithoutAnItemThereIsNoRecord)
{
	EXPECT_EQ(port_->backend_data, nullptr);
}

// ---- set-up, as it should be ----

TEST_F(IioBackendTest, TheConverterIsSetUpStepByStep)
{
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	auto made = actions();
	std::erase_if(made, [](const std::string &call) {
		return call.starts_with("ugpio_");
	});
	EXPECT_THAT(made,
		    ElementsAre(kMadeFolder,
				"write(trigger0/sampling_frequency, 50)",
				"write(iio:device2/trigger/current_trigger, "
				"timer)",
				"write(iio:device1/buffer/enable, 0)",
				"write(iio:device1/scan_elements/"
				"in_voltage_en, 1)",
				"write(iio:device1/buffer/enable, 1)",
				"open(/dev/iio:device1)"));
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioBackendTest, TheSetUpTakesNoteOfTheDeviceAndItsSamples)
{
	configure(PORT_INPUT);
	set_up();
	EXPECT_EQ(data()->dev_path, "/dev/iio:device1");
	EXPECT_EQ(data()->bytes, 2U);
	EXPECT_EQ(data()->iio_type.bits, 12U);
	EXPECT_EQ(data()->iio_type.shift, 4U);
	EXPECT_THAT(fake_iio::open_files(), ElementsAre(kDevFile));
	EXPECT_TRUE(fake_iio::is_non_blocking(kDevFile));
	EXPECT_NE(fcntl(data()->fd.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(IioBackendTest, OneDeviceCanDoBoth)
{
	configure(PORT_INPUT);
	parse("device", "adc", "sampler");
	fake_iio::set("iio:device1/trigger/current_trigger", "\n");
	set_up();
	EXPECT_EQ(fake_iio::get("iio:device1/trigger/current_trigger"),
		  "timer");
}

TEST_F(IioBackendTest, WithoutTheOnlyChannelsFilesThoseOfItsNumberAreUsed)
{
	configure(PORT_INPUT);
	parse("device", "channel", "2");
	fake_iio::remove("iio:device1/scan_elements/in_voltage_en");
	set_type("le:u8/8>>0");
	fake_iio::set("iio:device1/scan_elements/in_voltage2_en", "0\n");
	fake_iio::set("iio:device1/scan_elements/in_voltage2_type",
		      "be:u24/24>>0\n");
	set_up();
	EXPECT_EQ(data()->bytes, 3U);
	EXPECT_EQ(fake_iio::get("iio:device1/scan_elements/in_voltage2_en"),
		  "1");
}

TEST_F(IioBackendTest, TheOnlyChannelsFilesComeFirst)
{
	configure(PORT_INPUT);
	parse("device", "channel", "2");
	fake_iio::set("iio:device1/scan_elements/in_voltage2_en", "0\n");
	fake_iio::set("iio:device1/scan_elements/in_voltage2_type",
		      "be:u24/24>>0\n");
	set_up();
	EXPECT_EQ(data()->bytes, 2U);
	EXPECT_EQ(fake_iio::get("iio:device1/scan_elements/in_voltage2_en"),
		  "0\n");
}

TEST_F(IioBackendTest, ATriggerThatIsSetAlreadyIsNotSetAgain)
{
	configure(PORT_INPUT);
	fake_iio::set("iio:device2/trigger/current_trigger", "timer\n");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(recorder::calls(),
		    Not(Contains(StartsWith(
			    "write(iio:device2/trigger/current_trigger"))));
}

TEST_F(IioBackendTest, ATriggerThatIsThereAlreadyIsNotMadeAgain)
{
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(recorder::count("mkdir("), 1U);
	EXPECT_THAT(fake_iio::open_files(), ElementsAre(kDevFile));
}

/// Its attributes become ours when udev has seen it.
TEST_F(IioBackendTest, ATriggerThatWasJustMadeIsWaitedFor)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::OPEN, kFrequency, EACCES, 3);
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(), IsEmpty());
	EXPECT_EQ(recorder::count("write(trigger0/sampling_frequency"), 1U);
}

TEST_F(IioBackendTest, ATriggerThatWasThereIsNotWaitedFor)
{
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	fake_iio::fail(Call::OPEN, kFrequency, EACCES, 1);
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_EQ(log_.warnings().front(),
		  failed_to("open", kFrequency, "Permission denied"));
}

TEST_F(IioBackendTest, ATriggerThatCannotBeMadeMayBeThereAnyway)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::MKDIR, kFolder, EPERM);
	fake_iio::set("trigger5/name", "timer\n");
	fake_iio::set("trigger5/sampling_frequency", "1\n");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to create sysfs directory '" +
				std::string(kFolder) +
				"': Operation not permitted"));
	EXPECT_EQ(fake_iio::get("trigger5/sampling_frequency"), "50");
}

TEST_F(IioBackendTest, ATriggerThatIsUnknownIsSetAllTheSame)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::READ, "iio:device2/trigger/current_trigger", EIO);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(failed_to("read",
					  "iio:device2/trigger/current_trigger",
					  "Input/output error")));
	EXPECT_EQ(fake_iio::get("iio:device2/trigger/current_trigger"),
		  "timer");
}

TEST_F(IioBackendTest, AnOutputNeedsNoConverter)
{
	configure(PORT_OUTPUT);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(actions(), ElementsAre("ugpio_request_one(2, 0x42, pin)",
					   "ugpio_full_open(2)",
					   "ugpio_set_activelow(2, 0)",
					   "ugpio_set_value(2, 1)"));
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
}

TEST_F(IioBackendTest, ASampleOfNoBitsCanBeSetUp)
{
	configure(PORT_INPUT);
	set_type("le:u0/0>>0");
	set_up();
	EXPECT_EQ(data()->bytes, 0U);
}

} // namespace
