/// What the set-up of the "iio-interrupt" backend does when something fails.

#include "iio-int-fixture.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

using IioIntFaultTest = IioIntTest;
using IioIntDeathTest = IioIntTest;

constexpr char kDevFile[] = "/dev/iio:device0";
constexpr char kNotThere[] = "No such file or directory";

std::string cannot_open(const std::string &path,
			const std::string &why = kNotThere)
{
	return "Failed to open sysfs path '/sys/bus/iio/devices/" + path +
	       "': " + why;
}

// ---- when something fails ----

TEST_F(IioIntFaultTest, TheConverterMustBeThere)
{
	configure(PORT_INPUT);
	parse("device", "driver", "missing");
	EXPECT_TRUE(set_up_fails());
	data()->driver.reset();
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed to find device name",
						 "Failed to setup sysfs",
						 "Failed to find device name",
						 "Failed to setup sysfs"));
}

TEST_F(IioIntFaultTest, NamesThatLeadOutOfTheirFolderAreRefused)
{
	configure(PORT_INPUT);
	parse("device", "channel_name", "../voltage3");
	EXPECT_TRUE(set_up_fails());
	parse("device", "channel_name", "voltage3");
	parse("device", "chan_extend_name", "/near");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("'../voltage3' cannot be part of a file's name",
				kSetupFailed,
				"'/near' cannot be part of a file's name",
				kSetupFailed));
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
}

TEST_F(IioIntFaultTest, ADeviceFileThatCannotBeOpenedIsComplainedOf)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::OPEN, kDevFile, EACCES);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to open device: Permission denied",
				"Failed to open backend->device",
				kSetupFailed));
	EXPECT_EQ(recorder::count("get_event_fd("), 0U);
	EXPECT_EQ(recorder::count("write("), 0U);
}

TEST_F(IioIntFaultTest, ADeviceWithoutEventsIsComplainedOfAndClosed)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::EVENT_FD, kDevFile, ENODEV);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to open device /dev/iio:device0: No "
				"such device",
				"Failed to open backend->device",
				kSetupFailed));
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
	log_.clear();
	fake_iio::fail(Call::EVENT_FD, kDevFile, fake_iio::kNoDescriptor);
	EXPECT_TRUE(set_up_fails());
	ASSERT_THAT(log_.warnings(), testing::SizeIs(3));
	EXPECT_THAT(log_.warnings().front(),
		    StartsWith("Failed to open device /dev/iio:device0: "));
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
}

TEST_F(IioIntFaultTest, AConverterThatFailedCanBeTriedAgain)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::OPEN, kDevFile, EACCES);
	EXPECT_TRUE(set_up_fails());
	fake_iio::fail(Call::OPEN, kDevFile, 0);
	port_->supervised = true;
	set_up();
	io_port_set_watch(port_.get());
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntFaultTest, ADeviceFileThatCannotBeClosedIsNoHindrance)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::CLOSE, kDevFile, EIO);
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.warnings(), ElementsAre("Couldn't close char device"));
}

TEST_F(IioIntFaultTest, AThresholdThatCannotBeOpenedEndsTheSetUp)
{
	configure(PORT_INPUT);
	for (const char *attribute :
	     {"either_en", "falling_value", "rising_value"}) {
		log_.clear();
		fake_iio::remove(threshold_file(attribute));
		EXPECT_TRUE(set_up_fails());
		EXPECT_THAT(log_.warnings(),
			    ElementsAre(cannot_open(threshold_file(attribute)),
					kSetupFailed));
	}
}

TEST_F(IioIntFaultTest, APathThatIsTooLongIsCut)
{
	configure(PORT_INPUT);
	parse("device", "channel_name", std::string(210, 'x'));
	EXPECT_TRUE(set_up_fails());
	const std::string path =
		"iio:device0/events/in_" + std::string(199 - 43, 'x');
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot_open(path), kSetupFailed));
}

TEST_F(IioIntFaultTest, AFailedWriteEndsTheSetUp)
{
	configure(PORT_INPUT);
	for (const char *attribute :
	     {"either_en", "rising_value", "falling_value"}) {
		log_.clear();
		recorder::reset();
		fake_iio::fail(Call::WRITE, threshold_file(attribute), EINVAL);
		EXPECT_TRUE(set_up_fails());
		EXPECT_THAT(log_.warnings(),
			    Contains("Failed to write sysfs: Invalid "
				     "argument"));
		EXPECT_EQ(log_.warnings().back(), kSetupFailed);
	}
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0"),
					  threshold("falling_value", "0")));
}

/// A shared setting that is not there, cannot be written, or not closed.
void expect_setting_needed(const IOPortFunctions *functions, IOPort *port,
			   const std::string &path, const LogCapture &log)
{
	const std::string name = path.substr(path.rfind('/') + 1);
	EXPECT_FALSE(functions->setup(port, 0));
	fake_iio::set(path, "\n");
	fake_iio::fail(Call::WRITE, path, EINVAL);
	EXPECT_FALSE(functions->setup(port, 0));
	fake_iio::fail(Call::WRITE, path, 0);
	fake_iio::fail(Call::CLOSE, path, EIO);
	EXPECT_TRUE(functions->setup(port, 0));
	EXPECT_THAT(log.warnings(),
		    ElementsAre(cannot_open(path), kSetupFailed,
				"Failed to write sysfs: Invalid argument",
				kSetupFailed, "Couldn't close " + name));
}

TEST_F(IioIntFaultTest, ASampleFrequencyMustBeTaken)
{
	configure(PORT_INPUT);
	parse("device", "shared_samplefreq", "1");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot_open("iio:device0/sampling_frequency"),
				kSetupFailed));
	fake_iio::set("iio:device0/sampling_frequency", "\n");
	fake_iio::fail(Call::CLOSE, "iio:device0/sampling_frequency", EIO);
	log_.clear();
	EXPECT_FALSE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Couldn't close "
				"in_voltage_sampling_frequency"));
}

TEST_F(IioIntFaultTest, APeriodMustBeTaken)
{
	configure(PORT_INPUT);
	parse("device", "shared_thresh_either_period", "1");
	expect_setting_needed(functions_, port_.get(),
			      "iio:device0/events/"
			      "in_voltage_thresh_either_period",
			      log_);
}

TEST_F(IioIntFaultTest, AnIntegrationTimeMustBeTaken)
{
	configure(PORT_INPUT);
	parse("device", "integration_time", "1");
	expect_setting_needed(functions_, port_.get(),
			      "iio:device0/in_proximity_integration_time",
			      log_);
}

TEST_F(IioIntFaultTest, LinesThatCannotBeHadAreComplainedOf)
{
	configure(PORT_INPUT);
	fake_ugpio::fail_request("3");
	EXPECT_TRUE(set_up_fails());
	fake_ugpio::fail("ugpio_set_value", EIO);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("iio_int_setup_gpio: assertion "
				"'libugpio_port_init_gpio_pin (data->ioctrl, "
				"FALSE, io_port_direction_input (port) ? 1 : "
				"0)' failed",
				"iio_int_setup_gpio: assertion "
				"'iio_int_set_control_pins (port)' failed"));
	EXPECT_EQ(recorder::count("open("), 0U);
	EXPECT_THAT(log_.warnings(), Not(Contains(kSetupFailed)));
}

TEST_F(IioIntDeathTest, ASetUpWithoutARecordIsAnError)
{
	port_->type = PORT_INPUT;
	EXPECT_DEATH(functions_->setup(port_.get(), 0), "data != NULL");
}

} // namespace
