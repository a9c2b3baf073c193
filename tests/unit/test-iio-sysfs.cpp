#include "backends/iio-sysfs.h"

#include "iio-fixture.h"
#include "util/log.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using IioSysfsTest = IioKernelTest;

constexpr char kRaw[] = "/sys/bus/iio/devices/iio:device0/in_voltage0_raw";
constexpr char kShortRaw[] = "iio:device0/in_voltage0_raw";

std::string cannot(const std::string &what, const std::string &why,
		   const std::string &path = kRaw)
{
	return "Failed to " + what + " sysfs path '" + path + "': " + why;
}

std::string read_back(const std::string &text)
{
	fake_iio::set(kShortRaw, text);
	std::string contents = "before";
	EXPECT_TRUE(iio_read_sysfs(kRaw, &contents));
	return contents;
}

// ---- reading ----

TEST_F(IioSysfsTest, ATextIsReadUpToItsLastLineBreak)
{
	EXPECT_EQ(read_back("17\n"), "17");
	EXPECT_EQ(read_back("17"), "17");
	EXPECT_EQ(read_back("one\ntwo\nthree"), "one\ntwo");
	EXPECT_EQ(read_back("17\n\n"), "17\n");
	EXPECT_EQ(read_back("\n"), "");
	EXPECT_EQ(read_back(""), "");
}

TEST_F(IioSysfsTest, AFileThatIsNotThereLeavesTheTextAlone)
{
	std::string contents = "before";
	EXPECT_FALSE(iio_read_sysfs(kRaw, &contents));
	EXPECT_EQ(contents, "before");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot("read", "No such file or "
					       "directory")));
}

TEST_F(IioSysfsTest, AFileThatCannotBeReadLeavesTheTextAlone)
{
	fake_iio::set(kShortRaw, "17\n");
	fake_iio::fail(Call::READ, kShortRaw, EIO);
	std::string contents = "before";
	EXPECT_FALSE(iio_read_sysfs(kRaw, &contents));
	EXPECT_EQ(contents, "before");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot("read", "Input/output error")));
}

// ---- writing ----

TEST_F(IioSysfsTest, ATextIsWrittenAtOnce)
{
	fake_iio::set(kShortRaw, "17\n");
	EXPECT_TRUE(iio_write_sysfs(kRaw, "a text"));
	EXPECT_THAT(actions(),
		    ElementsAre("write(iio:device0/in_voltage0_raw, a text)"));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioSysfsTest, OfANumberTheFirstCharacterIsWritten)
{
	fake_iio::set(kShortRaw, "");
	for (const auto &[number, text] :
	     {std::pair(0, "0"), {1, "1"}, {10, "1"}, {-5, "-"}}) {
		EXPECT_TRUE(iio_write_sysfs(kRaw, number));
		EXPECT_EQ(fake_iio::get(kShortRaw), text);
	}
}

TEST_F(IioSysfsTest, NoFileIsMade)
{
	EXPECT_FALSE(iio_write_sysfs(kRaw, "1"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot("open", "No such file or "
					       "directory")));
	EXPECT_EQ(fake_iio::get(kShortRaw), "");
}

TEST_F(IioSysfsTest, AFailedWriteIsWarnedOf)
{
	fake_iio::set(kShortRaw, "");
	fake_iio::fail(Call::WRITE, kShortRaw, EBUSY);
	EXPECT_FALSE(iio_write_sysfs(kRaw, "1"));
	EXPECT_FALSE(iio_write_sysfs(kRaw, 1));
	const std::string text = cannot("write", "Device or resource busy");
	EXPECT_THAT(log_.warnings(), ElementsAre(text, text));
}

TEST_F(IioSysfsTest, AFailedCloseIsWarnedOf)
{
	fake_iio::set(kShortRaw, "");
	fake_iio::fail(Call::CLOSE, kShortRaw, EIO);
	EXPECT_FALSE(iio_write_sysfs(kRaw, "1"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot("close", "Input/output error")));
}

TEST_F(IioSysfsTest, AFailedWriteAndAFailedCloseAreBothWarnedOf)
{
	fake_iio::set(kShortRaw, "");
	fake_iio::fail(Call::WRITE, kShortRaw, EINVAL);
	fake_iio::fail(Call::CLOSE, kShortRaw, EIO);
	EXPECT_FALSE(iio_write_sysfs(kRaw, "1"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(cannot("write", "Invalid argument"),
				cannot("close", "Input/output error")));
}

// ---- numbers of devices ----

void add(const std::string &folder, const std::string &name)
{
	fake_iio::set(folder + "/name", name + "\n");
}

TEST_F(IioSysfsTest, ADeviceIsFoundByItsWholeName)
{
	add("iio:device0", "converter-2");
	add("iio:device7", "converter");
	add("iio:device8", "conv");
	EXPECT_EQ(iio_get_device_number("converter"), 7);
	EXPECT_EQ(iio_get_device_number_with_type("converter", IIO_DEVICE), 7);
	EXPECT_EQ(iio_get_device_number("convert"), -1);
	EXPECT_EQ(iio_get_device_number("Converter"), -1);
	EXPECT_EQ(iio_get_device_number(""), -1);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioSysfsTest, DevicesAndTriggersAreToldApart)
{
	add("iio:device3", "same");
	add("trigger5", "same");
	EXPECT_EQ(iio_get_device_number_with_type("same", IIO_DEVICE), 3);
	EXPECT_EQ(iio_get_device_number_with_type("same", IIO_TRIGGER), 5);
}

TEST_F(IioSysfsTest, EntriesOfOtherKindsAreNotLookedAt)
{
	add("iio_sysfs_trigger", "converter");
	add("device4", "converter");
	add("IIO:device4", "converter");
	EXPECT_EQ(iio_get_device_number("converter"), -1);
	EXPECT_EQ(recorder::count("read("), 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioSysfsTest, TheSearchEndsWithTheFirstDeviceOfThatName)
{
	for (const char *folder : {"iio:device1", "iio:device2", "iio:device3"})
		add(folder, "converter");
	const int number = iio_get_device_number("converter");
	EXPECT_THAT(recorder::calls(), Each("read(iio:device" +
					    std::to_string(number) + "/name)"));
}

TEST_F(IioSysfsTest, AnEntryWithoutANumberIsWarnedOf)
{
	add("iio:device", "converter");
	EXPECT_EQ(iio_get_device_number("converter"), -1);
	add("triggerless", "converter");
	EXPECT_EQ(iio_get_device_number_with_type("converter", IIO_TRIGGER),
		  -1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to find device number for device "
				"iio:device: Invalid argument",
				"Failed to find device number for device "
				"triggerless: Invalid argument"));
}

TEST_F(IioSysfsTest, ANameThatCannotBeReadDoesNotEndTheSearch)
{
	add("iio:device1", "converter");
	add("iio:device2", "converter");
	fake_iio::fail(Call::READ, "iio:device1/name", EIO);
	EXPECT_EQ(iio_get_device_number("converter"), 2);
	fake_iio::fail(Call::READ, "iio:device1/name", 0);
	fake_iio::fail(Call::READ, "iio:device2/name", EIO);
	EXPECT_EQ(iio_get_device_number("converter"), 1);
}

TEST_F(IioSysfsTest, ADeviceOfFourDigitsHasTooLongAPath)
{
	add("iio:device1000", "converter");
	EXPECT_EQ(iio_get_device_number("converter"), -1);
	EXPECT_THAT(
		log_.warnings(),
		ElementsAre(cannot("read", "No such file or directory",
				   "/sys/bus/iio/devices/iio:device1000/nam")));
}

TEST_F(IioSysfsTest, ADeviceOfThreeDigitsAndATriggerOfSixAreFound)
{
	add("iio:device999", "converter");
	EXPECT_EQ(iio_get_device_number("converter"), 999);
	add("trigger999999", "timer");
	EXPECT_EQ(iio_get_device_number_with_type("timer", IIO_TRIGGER),
		  999999);
}

TEST_F(IioSysfsTest, AnUnknownTypeIsLoggedAndNothingIsLookedFor)
{
	add("iio:device1", "converter");
	EXPECT_EQ(iio_get_device_number_with_type("converter", 2), -1);
	EXPECT_EQ(iio_get_device_number_with_type("converter", -1), -1);
	EXPECT_THAT(log_.texts(util::kLogLevelUser),
		    ElementsAre("Unknown device_type: 2",
				"Unknown device_type: -1"));
	EXPECT_EQ(log_.messages().size(), 2U);
	EXPECT_EQ(recorder::count("read("), 0U);
}

TEST_F(IioSysfsTest, AFolderThatCannotBeOpenedIsWarnedOf)
{
	fake_iio::fail(Call::OPENDIR, "/sys/bus/iio/devices/", EACCES);
	EXPECT_EQ(iio_get_device_number("converter"), -1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to open sysfs path: Permission "
				"denied\n"));
}

TEST_F(IioSysfsTest, AKernelWithoutConvertersIsWarnedOf)
{
	fake_iio::remove("/sys/bus/iio/devices/");
	EXPECT_EQ(iio_get_device_number("converter"), -1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to open sysfs path: No such file or "
				"directory\n"));
}

} // namespace
