#include "backends/spi-device.h"

#include "fakes/fake-spi.h"
#include "fakes/recorder.h"
#include "temp-dir.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>

namespace
{

using fake_spi::Call;
using testing::ElementsAre;
using testing::IsEmpty;

class SpiDeviceTest : public testing::Test
{
protected:
	SpiDeviceTest()
	{
		fake_spi::reset();
		recorder::reset();
		write_file(path_, "");
	}
	bool measure(guint32 address)
	{
		return device_.measure(address, &level_);
	}

	TempDir dir_;
	const std::string path_ = dir_.file("device");
	SpiDevice device_;
	guint32 level_ = 0;
};

TEST_F(SpiDeviceTest, AMeasurementSendsTheAddressAndReadsAWord)
{
	ASSERT_TRUE(device_.open(path_, O_RDWR));
	EXPECT_TRUE(measure(0x1f));
	EXPECT_THAT(recorder::calls(), ElementsAre("message(tx 00 1f, rx 2)"));
}

TEST_F(SpiDeviceTest, OnlyTheLowByteOfAnAddressIsSent)
{
	ASSERT_TRUE(device_.open(path_, O_RDWR));
	EXPECT_TRUE(measure(0xabcd12fe));
	EXPECT_THAT(recorder::calls(), ElementsAre("message(tx 00 fe, rx 2)"));
}

TEST_F(SpiDeviceTest, ALevelIsTheEightBitsFromBitFour)
{
	ASSERT_TRUE(device_.open(path_, O_RDWR));
	for (unsigned level = 0; level <= 255; ++level) {
		fake_spi::set_level(7, static_cast<guint8>(level));
		ASSERT_TRUE(measure(7));
		EXPECT_EQ(level_, level);
	}
}

TEST_F(SpiDeviceTest, AFailedTransferReads0AndTellsWhy)
{
	fake_spi::set_level(7, 200);
	ASSERT_TRUE(device_.open(path_, O_RDWR));
	fake_spi::fail(Call::MESSAGE, ESHUTDOWN);
	level_ = 17;
	EXPECT_FALSE(measure(7));
	EXPECT_EQ(errno, ESHUTDOWN);
	EXPECT_EQ(level_, 0U);
}

TEST_F(SpiDeviceTest, ADeviceThatWasNeverOpenedFailsAsAClosedOne)
{
	EXPECT_FALSE(device_.is_open());
	EXPECT_FALSE(measure(7));
	EXPECT_EQ(errno, EBADF);
	EXPECT_FALSE(device_.set_bits_per_word(16));
	EXPECT_EQ(errno, EBADF);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SpiDeviceTest, AClosedDeviceLeavesAFileThatGotItsNumberAlone)
{
	ASSERT_TRUE(device_.open(path_, O_RDWR));
	device_.close();
	// The kernel gives out the lowest number that is free.
	const int other = open(path_.c_str(), O_RDWR | O_CLOEXEC);
	ASSERT_GE(other, 0);
	EXPECT_FALSE(measure(7));
	EXPECT_EQ(errno, EBADF);
	device_.close();
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_EQ(close(other), 0);
}

TEST_F(SpiDeviceTest, ADeviceThatIsNotThereTellsWhy)
{
	EXPECT_FALSE(device_.open(dir_.file("missing"), O_RDWR));
	EXPECT_EQ(errno, ENOENT);
	EXPECT_FALSE(device_.is_open());
}

TEST_F(SpiDeviceTest, SettingsAreMadeAsTheKernelTakesThem)
{
	ASSERT_TRUE(device_.open(path_, O_RDWR));
	EXPECT_TRUE(device_.set_bits_per_word(16));
	EXPECT_TRUE(device_.set_max_speed(4000000000));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("bits(16)", "speed(4000000000)"));
}

} // namespace
