#include "backends/iio-int-channel.h"

#include "iio-fixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kEvents[] = "iio:device0/events/in_voltage3_thresh_";

class IioChannelTest : public IioKernelTest
{
protected:
	static void add(const char *attribute)
	{
		fake_iio::set(kEvents + std::string(attribute), "\n");
	}
	static void add_thresholds(std::vector<const char *> flags)
	{
		add("rising_value");
		add("falling_value");
		for (const char *flag : flags)
			add(flag);
	}
	static guint32 raw(const std::string &text)
	{
		fake_iio::set("iio:device0/in_voltage3_raw", text);
		util::RateLimit limit;
		return iio_read_raw(kChannel, &limit);
	}

	static inline const IioChannelName kChannel = {0, "voltage3", {}};
};

// ---- paths ----

TEST_F(IioChannelTest, AnAttributeCarriesItsChannelsName)
{
	const IioChannelName name = {12, "proximity", {}};
	EXPECT_EQ(name.path("raw"),
		  "/sys/bus/iio/devices/iio:device12/in_proximity_raw");
	EXPECT_EQ(name.event_path("thresh_rising_en"),
		  "/sys/bus/iio/devices/iio:device12/events/"
		  "in_proximity_thresh_rising_en");
}

TEST_F(IioChannelTest, AnExtensionStandsBetweenTheNames)
{
	const IioChannelName name = {0, "voltage3", "filtered"};
	EXPECT_EQ(name.path("raw"),
		  "/sys/bus/iio/devices/iio:device0/in_voltage3_filtered_raw");
	EXPECT_EQ(name.event_path("thresh_either_en"),
		  "/sys/bus/iio/devices/iio:device0/events/"
		  "in_voltage3_filtered_thresh_either_en");
}

TEST_F(IioChannelTest, APathIsCutAt199Bytes)
{
	const std::string prefix = "/sys/bus/iio/devices/iio:device0/in_";
	const size_t fits = 199 - prefix.size() - sizeof "_raw" + 1;
	const IioChannelName whole = {0, std::string(fits, 'x'), {}};
	EXPECT_THAT(whole.path("raw"), SizeIs(199));
	EXPECT_TRUE(whole.path("raw").ends_with("x_raw"));
	const IioChannelName cut = {0, std::string(fits + 1, 'x'), {}};
	EXPECT_THAT(cut.path("raw"), SizeIs(199));
	EXPECT_TRUE(cut.path("raw").ends_with("x_ra"));
	const IioChannelName lost = {0, std::string(300, 'x'), "y"};
	EXPECT_EQ(lost.event_path("thresh_rising_en"),
		  lost.event_path("thresh_falling_en"));
}

// ---- the value ----

TEST_F(IioChannelTest, AValueHasAnyBase)
{
	EXPECT_EQ(raw("1234\n"), 1234U);
	EXPECT_EQ(raw("0x1F\n"), 31U);
	EXPECT_EQ(raw("010\n"), 8U);
	EXPECT_EQ(raw("17 mV\n"), 17U);
}

TEST_F(IioChannelTest, OfAValueTheLow32BitsCount)
{
	EXPECT_EQ(raw("-1\n"), 0xffffffffU);
	EXPECT_EQ(raw("4294967295\n"), 0xffffffffU);
	EXPECT_EQ(raw("4294967301\n"), 5U);
	EXPECT_EQ(raw("0x123456789\n"), 0x23456789U);
}

TEST_F(IioChannelTest, WhatIsNoNumberIsZero)
{
	EXPECT_EQ(raw("high\n"), 0U);
	EXPECT_EQ(raw(""), 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioChannelTest, AValueThatCannotBeReadIsZero)
{
	util::RateLimit limit;
	EXPECT_EQ(iio_read_raw(kChannel, &limit), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to read sysfs path "
				"'/sys/bus/iio/devices/iio:device0/"
				"in_voltage3_raw': No such file or directory"));
}

// ---- thresholds ----

TEST_F(IioChannelTest, OneFlagSwitchesBothThresholds)
{
	add_thresholds({"either_en"});
	IioThresholds thresholds;
	ASSERT_TRUE(thresholds.open(kChannel));
	EXPECT_TRUE(thresholds.enable(true));
	EXPECT_TRUE(thresholds.enable(false));
	EXPECT_THAT(
		writes(),
		ElementsAre(std::string("write(") + kEvents + "either_en, 1)",
			    std::string("write(") + kEvents + "either_en, 0)"));
}

TEST_F(IioChannelTest, TwoFlagsAreSwitchedTogether)
{
	add_thresholds({"rising_en", "falling_en", "either_en"});
	IioThresholds thresholds;
	ASSERT_TRUE(thresholds.open(kChannel));
	EXPECT_TRUE(thresholds.enable(true));
	EXPECT_THAT(writes(), ElementsAre(std::string("write(") + kEvents +
						  "rising_en, 1)",
					  std::string("write(") + kEvents +
						  "falling_en, 1)"));
	EXPECT_TRUE(thresholds.enable_rising());
	EXPECT_TRUE(thresholds.enable_falling());
	EXPECT_EQ(recorder::count("write("), 2U);
}

TEST_F(IioChannelTest, AValueIsWrittenAsASignedNumber)
{
	add_thresholds({"either_en"});
	IioThresholds thresholds;
	ASSERT_TRUE(thresholds.open(kChannel));
	for (const auto &[value, text] : {std::pair(0U, "0"),
					  {2147483647U, "2147483647"},
					  {2147483648U, "-2147483648"},
					  {4294967295U, "-1"}}) {
		EXPECT_TRUE(thresholds.set_rising(value));
		EXPECT_TRUE(thresholds.set_falling(value));
		EXPECT_EQ(fake_iio::get(kEvents + std::string("rising_value")),
			  text);
		EXPECT_EQ(fake_iio::get(kEvents + std::string("falling_value")),
			  text);
	}
}

TEST_F(IioChannelTest, AFailedWriteIsWarnedOf)
{
	add_thresholds({"rising_en", "falling_en"});
	IioThresholds thresholds;
	ASSERT_TRUE(thresholds.open(kChannel));
	fake_iio::fail(Call::WRITE, kEvents + std::string("rising_value"),
		       EINVAL);
	EXPECT_FALSE(thresholds.set_rising(1));
	fake_iio::fail(Call::WRITE, kEvents + std::string("rising_en"), EIO);
	EXPECT_FALSE(thresholds.enable(true));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to write sysfs: Invalid argument",
				"Failed to write sysfs: Input/output error"));
	EXPECT_EQ(fake_iio::get(kEvents + std::string("falling_en")), "1");
}

TEST_F(IioChannelTest, EveryFileMustBeThere)
{
	const std::string folder = "/sys/bus/iio/devices/";
	const auto missing = [&](const char *attribute) {
		return "Failed to open sysfs path '" + folder + kEvents +
		       attribute + "': No such file or directory";
	};
	IioThresholds thresholds;
	EXPECT_FALSE(thresholds.open(kChannel));
	add("rising_value");
	EXPECT_FALSE(thresholds.open(kChannel));
	add("falling_value");
	EXPECT_FALSE(thresholds.open(kChannel));
	add("rising_en");
	EXPECT_FALSE(thresholds.open(kChannel));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre(missing("rising_value"),
				missing("falling_value"), missing("either_en"),
				missing("falling_en")));
	add("falling_en");
	EXPECT_TRUE(thresholds.open(kChannel));
}

TEST_F(IioChannelTest, OpeningAgainClosesWhatWasOpen)
{
	add_thresholds({"rising_en", "falling_en"});
	IioThresholds thresholds;
	EXPECT_FALSE(thresholds.are_open());
	ASSERT_TRUE(thresholds.open(kChannel));
	ASSERT_TRUE(thresholds.open(kChannel));
	EXPECT_TRUE(thresholds.are_open());
	EXPECT_THAT(fake_iio::open_files(), SizeIs(4));
	fake_iio::remove(kEvents + std::string("rising_en"));
	add("either_en");
	ASSERT_TRUE(thresholds.open(kChannel));
	EXPECT_THAT(fake_iio::open_files(), SizeIs(3));
	thresholds.close();
	EXPECT_FALSE(thresholds.are_open());
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
}

TEST_F(IioChannelTest, ThresholdsThatWereNeverOpenedCloseNothing)
{
	{
		IioThresholds thresholds;
		thresholds.close();
	}
	for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
		EXPECT_NE(fcntl(fd, F_GETFD), -1);
}

} // namespace
