/// The set-up of the "iio-interrupt" backend and its end; what fails is in
/// test-iio-int-faults.cpp.

#include "comma-locale.h"
#include "iio-int-fixture.h"

#include <fcntl.h>
#include <unistd.h>

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using IioIntBackendTest = IioIntTest;

/// What the last step of a set-up is recorded as.
const std::vector<std::string> kReset = {
	"write(iio:device0/events/in_voltage3_thresh_falling_value, 0)",
	"write(iio:device0/events/in_voltage3_thresh_rising_value, 1)",
	"write(iio:device0/events/in_voltage3_thresh_either_en, 0)"};

// ---- as it should be ----

TEST_F(IioIntBackendTest, AnInputRequestsItsLinesThenTheConverter)
{
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(
		actions(),
		ElementsAre(
			"ugpio_request_one(1, 0x14d, pin)",
			"ugpio_full_open(1)", "ugpio_set_activelow(1, 0)",
			"ugpio_request_one(3, 0x42, pin)", "ugpio_full_open(3)",
			"ugpio_set_activelow(3, 0)", "ugpio_set_value(3, 1)",
			"ugpio_request_named(sio)", "ugpio_full_open(sio)",
			"ugpio_set_activelow(sio, 0)", "ugpio_set_value(3, 1)",
			"ugpio_set_value(sio, 0)", "open(/dev/iio:device0)",
			"get_event_fd(/dev/iio:device0)", kReset[0], kReset[1],
			kReset[2]));
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioIntBackendTest, TheEventsAndTheThresholdsStayOpen)
{
	configure(PORT_INPUT);
	set_up();
	EXPECT_THAT(fake_iio::open_files(),
		    ElementsAre("events0", threshold_file("either_en"),
				threshold_file("falling_value"),
				threshold_file("rising_value")));
}

TEST_F(IioIntBackendTest, AnEventThatIsAnnouncedAndNotThereIsNotWaitedFor)
{
	configure(PORT_INPUT);
	set_up();
	EXPECT_TRUE(fake_iio::is_non_blocking("events0"));
}

TEST_F(IioIntBackendTest, AConverterMayHaveAFlagForEachThreshold)
{
	split_flags();
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(writes(), ElementsAre(kReset[0], kReset[1],
					  threshold("rising_en", "0"),
					  threshold("falling_en", "0")));
}

TEST_F(IioIntBackendTest, TheChannelMayHaveANameAndAnExtension)
{
	add_channel(0, "proximity0_near");
	configure(PORT_INPUT);
	parse("device", "channel_name", "proximity0");
	parse("device", "chan_extend_name", "near");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(writes(), Contains(threshold("rising_value", "1",
						 "proximity0_near")));
}

TEST_F(IioIntBackendTest, ASampleFrequencyIsThatOfTheVoltagesIfThereIsOne)
{
	configure(PORT_INPUT);
	parse("device", "shared_samplefreq", "12.5");
	fake_iio::set("iio:device0/sampling_frequency", "\n");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(writes(), ElementsAre("write(iio:device0/"
					  "sampling_frequency, 12.5)",
					  kReset[0], kReset[1], kReset[2]));
	fake_iio::set("iio:device0/in_voltage_sampling_frequency", "\n");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(writes(),
		    ElementsAre(kReset[2],
				"write(iio:device0/"
				"in_voltage_sampling_frequency, 12.5)",
				kReset[0], kReset[1], kReset[2]));
}

TEST_F(IioIntBackendTest, APeriodIsWritten)
{
	configure(PORT_INPUT);
	parse("device", "shared_thresh_either_period", "0.01");
	fake_iio::set("iio:device0/events/in_voltage_thresh_either_period",
		      "\n");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(writes(),
		    ElementsAre("write(iio:device0/events/"
				"in_voltage_thresh_either_period, 0.01)",
				kReset[0], kReset[1], kReset[2]));
}

TEST_F(IioIntBackendTest, AnIntegrationTimeIsWrittenInSeconds)
{
	const char *path = "iio:device0/in_proximity_integration_time";
	fake_iio::set(path, "\n");
	configure(PORT_INPUT);
	for (const auto &[time, text] : {std::pair("1", "0.000001"),
					 {"2500000", "2.500000"},
					 {"2147483647", "2147.483647"}}) {
		parse("device", "integration_time", time);
		ASSERT_TRUE(io_port_setup(port_.get()));
		EXPECT_EQ(fake_iio::get(path), text);
	}
}

TEST_F(IioIntBackendTest, AnIntegrationTimeHasADecimalPointInAnyLocale)
{
	const CommaLocale locale;
	const char *path = "iio:device0/in_proximity_integration_time";
	fake_iio::set(path, "\n");
	configure(PORT_INPUT);
	parse("device", "integration_time", "1500");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(fake_iio::get(path), "0.001500");
}

TEST_F(IioIntBackendTest, NoIntegrationTimeAndANegativeOneAreNotWritten)
{
	configure(PORT_INPUT);
	for (const char *time : {"0", "-1", "-2147483648"}) {
		parse("device", "integration_time", time);
		EXPECT_TRUE(io_port_setup(port_.get())) << time;
	}
	EXPECT_THAT(recorder::calls(),
		    Not(Contains(StartsWith("write(iio:device0/in_prox"))));
}

TEST_F(IioIntBackendTest, SharedSettingsAreWrittenInThisOrder)
{
	for (const char *path :
	     {"sampling_frequency", "events/in_voltage_thresh_either_period",
	      "in_proximity_integration_time"})
		fake_iio::set("iio:device0/" + std::string(path), "\n");
	configure(PORT_INPUT);
	parse("device", "integration_time", "1");
	parse("device", "shared_thresh_either_period", "2");
	parse("device", "shared_samplefreq", "3");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(writes(),
		    ElementsAre("write(iio:device0/sampling_frequency, 3)",
				"write(iio:device0/events/"
				"in_voltage_thresh_either_period, 2)",
				"write(iio:device0/"
				"in_proximity_integration_time, 0.000001)",
				kReset[0], kReset[1], kReset[2]));
}

TEST_F(IioIntBackendTest, TheSupervisedPathMayDoWithoutALine)
{
	configure(PORT_INPUT);
	data()->lines.sioctrl.reset();
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(recorder::calls(),
		    Not(Contains(StartsWith("ugpio_request_named"))));
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioIntBackendTest, AnOutputNeedsNoConverter)
{
	configure(PORT_OUTPUT);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(actions(), ElementsAre("ugpio_request_one(2, 0x42, pin)",
					   "ugpio_full_open(2)",
					   "ugpio_set_activelow(2, 0)",
					   "ugpio_set_value(2, 1)"));
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
}

TEST_F(IioIntBackendTest, AnotherSetUpHoldsNoMoreThanTheFirst)
{
	supervise();
	const auto open = fake_iio::open_files();
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(fake_iio::open_files(), open);
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "3", "sio"));
	EXPECT_EQ(recorder::count("get_event_fd("), 0U);
}

// ---- the end ----

TEST_F(IioIntBackendTest, NothingIsLeftOfAClosedPort)
{
	supervise();
	io_port_close(port_.get());
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
	EXPECT_EQ(handle_pending(), 0);
	EXPECT_NE(port_->backend_data, nullptr);
	functions_->free(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	functions_->close(port_.get());
	functions_->free(port_.get());
}

TEST_F(IioIntBackendTest, ClosingSwitchesTheEventsOff)
{
	supervise();
	recorder::reset();
	functions_->close(port_.get());
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0")));
}

TEST_F(IioIntBackendTest, AClosedPortIsSetUpAgain)
{
	supervise();
	io_port_close(port_.get());
	ASSERT_TRUE(io_port_setup(port_.get()));
	io_port_set_watch(port_.get());
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

/// Whatever the state of the set-up, nothing is closed that was not opened.
TEST_F(IioIntBackendTest, ClosingLeavesTheStandardStreamsOpen)
{
	configure(PORT_INPUT);
	io_port_close(port_.get());
	fake_iio::remove(threshold_file("either_en"));
	EXPECT_TRUE(set_up_fails());
	io_port_close(port_.get());
	io_port_close(port_.get());
	functions_->free(port_.get());
	for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
		EXPECT_NE(fcntl(fd, F_GETFD), -1) << fd;
}

} // namespace
