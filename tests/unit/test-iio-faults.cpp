/// What the set-up of the "iio" backend does when something fails.

#include "iio-port-fixture.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::ElementsAre;

using IioFaultTest = IioTest;
using IioDeathTest = IioTest;

// ---- faults ----

TEST_F(IioFaultTest, BothDevicesMustBeThere)
{
	configure(PORT_INPUT);
	parse("device", "name", "missing");
	EXPECT_TRUE(set_up_fails());
	parse("device", "adc", "missing");
	EXPECT_TRUE(set_up_fails());
	parse("device", "name", "sampler");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre("Failed to find device name: -1 2", kSetupFailed,
			    "Failed to find device name: -1 -1", kSetupFailed,
			    "Failed to find device name: 1 -1", kSetupFailed));
	EXPECT_EQ(recorder::count("mkdir("), 0U);
}

TEST_F(IioFaultTest, TheTriggerMustBeThere)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::MKDIR, kFolder, EPERM);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to create sysfs directory '" +
					std::string(kFolder) +
					"': Operation not permitted",
				"Failed to find trigger", kSetupFailed));
	EXPECT_EQ(recorder::count("write("), 0U);
}

TEST_F(IioFaultTest, ATriggersNameThatLeadsOutOfItsFolderIsRefused)
{
	configure(PORT_INPUT);
	set_name("trigger5", "../timer");
	for (const char *name : {"../timer", "a/b", "/timer", ".", "..", ""}) {
		log_.clear();
		parse("device", "hrtimer", name);
		EXPECT_TRUE(set_up_fails()) << name;
		EXPECT_THAT(log_.warnings(),
			    ElementsAre("Failed to find trigger", kSetupFailed))
			<< name;
	}
	EXPECT_EQ(recorder::count("mkdir("), 0U);
}

TEST_F(IioFaultTest, ANameWithASlashIsThatOfNoDevice)
{
	configure(PORT_INPUT);
	parse("device", "name", "../iio:device1");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre("Failed to find device name: -1 2", kSetupFailed));
}

/// Fails one write after the other; none after it is made.
TEST_F(IioFaultTest, AFailedWriteEndsTheSetUp)
{
	configure(PORT_INPUT);
	const std::vector<std::string> files = {
		"trigger0/sampling_frequency",
		"iio:device2/trigger/current_trigger",
		"iio:device1/buffer/enable",
		"iio:device1/scan_elements/in_voltage_en",
	};
	for (size_t i = 0; i < files.size(); ++i) {
		recorder::reset();
		log_.clear();
		fake_iio::set("iio:device2/trigger/current_trigger", "\n");
		fake_iio::fail(Call::WRITE, files[i], EINVAL);
		EXPECT_TRUE(set_up_fails());
		fake_iio::fail(Call::WRITE, files[i], 0);
		EXPECT_EQ(recorder::count("write("), i + 1);
		EXPECT_EQ(recorder::count("write(" + files[i]), 1U);
		EXPECT_EQ(recorder::count("open("), 0U);
		EXPECT_THAT(log_.warnings(),
			    ElementsAre(failed_to("write", files[i],
						  "Invalid argument"),
					kSetupFailed));
	}
}

TEST_F(IioFaultTest, ABufferThatCannotBeStartedEndsTheSetUp)
{
	configure(PORT_INPUT);
	recorder::set_hook([](const std::string &line) {
		if (line.starts_with("write(iio:device1/scan_elements"))
			fake_iio::fail(Call::WRITE, "iio:device1/buffer/enable",
				       EBUSY);
	});
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(failed_to("write", "iio:device1/buffer/enable",
					  "Device or resource busy"),
				kSetupFailed));
	EXPECT_EQ(recorder::count("open("), 0U);
}

TEST_F(IioFaultTest, AFileThatCannotBeOpenedOrClosedEndsTheSetUp)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::CLOSE, "iio:device1/buffer/enable", EIO);
	EXPECT_TRUE(set_up_fails());
	fake_iio::fail(Call::OPEN, "iio:device1/buffer/enable", EACCES);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(failed_to("close", "iio:device1/buffer/enable",
					  "Input/output error"),
				kSetupFailed,
				failed_to("open", "iio:device1/buffer/enable",
					  "Permission denied"),
				kSetupFailed));
}

TEST_F(IioFaultTest, ATypeThatCannotBeReadEndsTheSetUp)
{
	configure(PORT_INPUT);
	fake_iio::remove("iio:device1/scan_elements/in_voltage_type");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre(
			failed_to("read",
				  "iio:device1/scan_elements/in_voltage_type",
				  "No such file or directory"),
			"Failed to find device type: No such file or directory",
			kSetupFailed));
	EXPECT_EQ(recorder::count("write(iio:device1"), 0U);
}

TEST_F(IioFaultTest, AnEmptyTypeEndsTheSetUp)
{
	configure(PORT_INPUT);
	set_type("");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to find device type: Invalid argument",
				kSetupFailed));
}

TEST_F(IioFaultTest, ADeviceFileThatCannotBeOpenedEndsTheSetUp)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::OPEN, kDevFile, EBUSY);
	EXPECT_TRUE(set_up_fails());
	fake_iio::fail(Call::OPEN, kDevFile, 0);
	fake_iio::remove(kDevFile);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre("Failed to open device: Device or resource busy",
			    kSetupFailed,
			    "Failed to open device: No such file or directory",
			    kSetupFailed));
}

TEST_F(IioFaultTest, LinesThatCannotBeHadAreComplainedOfBeforeTheConverter)
{
	configure(PORT_INPUT);
	fake_ugpio::fail_request("1");
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to allocate pin 1/(null)"));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("iio_setup: assertion "
				"'libugpio_port_init_gpio_pin (data->input, "
				"TRUE, FALSE)' failed"));
	EXPECT_EQ(recorder::count("read("), 0U);
}

TEST_F(IioFaultTest, ControlLinesThatCannotBeDrivenEndTheSetUp)
{
	configure(PORT_INPUT);
	fake_ugpio::fail("ugpio_set_value", EIO);
	EXPECT_TRUE(set_up_fails());
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre("iio_setup: assertion 'iio_set_control_pins "
				"(port)' failed"));
}

TEST_F(IioFaultTest, ASetUpThatFailedCanBeTriedAgain)
{
	configure(PORT_INPUT);
	fake_iio::fail(Call::OPEN, kDevFile, EBUSY);
	EXPECT_TRUE(set_up_fails());
	fake_iio::fail(Call::OPEN, kDevFile, 0);
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "3", "sio"));
}

// ---- programming errors ----

TEST_F(IioDeathTest, OnlyUnsignedSamplesOfWholeBytesAreMadeFor)
{
	configure(PORT_INPUT);
	for (const auto &[type, expression] :
	     {std::pair("le:s12/16>>4", "backend->iio_type.sign == 'u'"),
	      {"le:s33/33>>4", "backend->iio_type.sign == 'u'"},
	      {"garbage", "backend->iio_type.sign == 'u'"},
	      {"le:u33/64>>0", "backend->iio_type.bits <= 32"},
	      {"le:u32/64>>0", "backend->iio_type.size <= 32"},
	      {"le:u32/33>>0", "backend->iio_type.size <= 32"},
	      {"le:u12/12>>0", "backend->iio_type.size % 8 == 0"}}) {
		set_type(type);
		EXPECT_DEATH(functions_->setup(port_.get(), 0), expression)
			<< type;
	}
}

TEST_F(IioDeathTest, ASetUpWithoutALineForTheSupervisedPathIsAnError)
{
	configure(PORT_INPUT);
	data()->lines.sioctrl.reset();
	EXPECT_DEATH(functions_->setup(port_.get(), 0),
		     "data->sioctrl != NULL");
}

TEST_F(IioDeathTest, ASetUpWithoutARecordIsAnError)
{
	port_->type = PORT_INPUT;
	EXPECT_DEATH(functions_->setup(port_.get(), 0), "data != NULL");
}

} // namespace
