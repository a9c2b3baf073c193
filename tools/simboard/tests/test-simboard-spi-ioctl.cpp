#include "board-fixture.h"
#include "simboard/spi-ioctl.h"

#include <linux/spi/spidev.h>

#include <climits>
#include <cstring>

using namespace simboard;

namespace
{

constexpr std::uint64_t ADDRESS = 0x7000;

std::string bytes_of(const std::vector<spi_ioc_transfer> &transfers)
{
	return {reinterpret_cast<const char *>(transfers.data()),
		transfers.size() * sizeof(spi_ioc_transfer)};
}

spi_ioc_transfer sending(std::uint32_t length)
{
	spi_ioc_transfer transfer = {};

	transfer.tx_buf = ADDRESS;
	transfer.len = length;
	return transfer;
}

spi_ioc_transfer receiving(std::uint32_t length)
{
	spi_ioc_transfer transfer = {};

	transfer.rx_buf = ADDRESS;
	transfer.len = length;
	return transfer;
}

/// What becomes of a message of those transfers.
SpiMessage decode(const std::vector<spi_ioc_transfer> &transfers)
{
	std::string argument = bytes_of(transfers);
	auto size = static_cast<unsigned>(argument.size());
	SpiMessage message;

	EXPECT_EQ(decode_message({_IOC(_IOC_WRITE, SPI_IOC_MAGIC, 0, size),
				  argument, 0, 0},
				 message),
		  0);
	return message;
}

class SettingsTest : public testing::Test
{
protected:
	int run(unsigned command, unsigned value = 0)
	{
		std::string argument(reinterpret_cast<const char *>(&value),
				     _IOC_SIZE(command));
		answer_.clear();
		return run_setting(converters_, adc_,
				   {command, argument, 0, DAEMON}, answer_);
	}
	/// What a request for a setting of that size answers.
	template <typename T> T get(unsigned command)
	{
		T value = 0;

		EXPECT_EQ(run(command), 0);
		EXPECT_EQ(answer_.size(), sizeof(value));
		memcpy(&value, answer_.data(), sizeof(value));
		return value;
	}

	BoardDescription board_ = describe_loops();
	History history_;
	Converters converters_{board_, history_};
	Converter &adc_ = *converters_.find("adc");
	std::string answer_;
};

} // namespace

TEST(SpiMessage, SaysWhatToTakeAndWhereToPutIt)
{
	spi_ioc_transfer both = sending(3);
	both.rx_buf = ADDRESS + 8;
	both.bits_per_word = 9;
	both.cs_change = 2;
	both.tx_nbits = 4;
	both.rx_nbits = 2;
	SpiMessage message = decode({sending(2), receiving(5), both});

	ASSERT_EQ(message.transfers.size(), 3u);
	ASSERT_EQ(message.sources.size(), 2u);
	EXPECT_EQ(message.sources[0].address, ADDRESS);
	EXPECT_EQ(message.sources[0].data.size(), 2u);
	EXPECT_EQ(message.sources[1].data.size(), 3u);
	ASSERT_EQ(message.targets.size(), 2u);
	EXPECT_EQ(message.targets[1].address, ADDRESS + 8);
	EXPECT_EQ(message.total, 10);
	EXPECT_EQ(message.error, 0);
	EXPECT_TRUE(message.transfers[0].sent);
	EXPECT_FALSE(message.transfers[1].sent);
	EXPECT_TRUE(message.transfers[1].receives);
	EXPECT_EQ(message.transfers[1].length, 5u);
	EXPECT_EQ(message.transfers[2].bits, 9u);
	EXPECT_EQ(message.transfers[2].sending_wires, 4u);
	EXPECT_EQ(message.transfers[2].receiving_wires, 2u);
	EXPECT_TRUE(message.transfers[2].deselects);
	EXPECT_FALSE(message.transfers[0].deselects);
}

TEST(SpiMessage, NoTransferIsAMessageToo)
{
	SpiMessage message = decode({});

	EXPECT_TRUE(message.transfers.empty());
	EXPECT_EQ(message.total, 0);
	EXPECT_EQ(message.error, 0);
}

TEST(SpiMessage, HasAsManyTransfersAsTheNumberCanSay)
{
	EXPECT_EQ(decode(std::vector(511, receiving(1))).transfers.size(),
		  511u);
}

TEST(SpiMessage, OnlyWholeTransfersAreAMessage)
{
	SpiMessage message;

	for (unsigned size : {1u, 31u, 33u, 16383u}) {
		std::string argument(size, '\0');
		unsigned command = _IOC(_IOC_WRITE, SPI_IOC_MAGIC, 0, size);
		EXPECT_EQ(decode_message({command, argument, 0, 0}, message),
			  EINVAL);
	}
}

TEST(SpiMessage, AnythingElseIsNone)
{
	SpiMessage message;

	for (unsigned command :
	     {unsigned{SPI_IOC_WR_MODE}, _IOC(_IOC_READ, SPI_IOC_MAGIC, 0, 32u),
	      _IOC(_IOC_NONE, SPI_IOC_MAGIC, 0, 0u),
	      _IOC(_IOC_READ | _IOC_WRITE, SPI_IOC_MAGIC, 0, 32u),
	      _IOC(_IOC_WRITE, SPI_IOC_MAGIC, 6, 32u),
	      _IOC(_IOC_WRITE, 'j', 0, 32u), 0u, UINT_MAX}) {
		std::string argument(_IOC_SIZE(command), '\0');
		EXPECT_EQ(decode_message({command, argument, 0, 0}, message),
			  ENOTTY)
			<< command;
	}
}

TEST(SpiMessage, IsNoBiggerThanTheBuffer)
{
	EXPECT_EQ(decode({sending(4096)}).error, 0);
	EXPECT_EQ(decode({sending(4097)}).error, EMSGSIZE);
	EXPECT_EQ(decode({receiving(4096), sending(4096)}).error, 0);
	EXPECT_EQ(decode({receiving(4096), receiving(1)}).error, EMSGSIZE);
	// Each one's data begins at a multiple of 8.
	EXPECT_EQ(decode(std::vector(511, receiving(8))).error, 0);
	EXPECT_EQ(decode({receiving(4088), receiving(1)}).error, 0);
	EXPECT_EQ(decode({receiving(4081), receiving(9)}).error, EMSGSIZE);
	EXPECT_EQ(decode({receiving(UINT_MAX)}).error, EMSGSIZE);
}

TEST(SpiMessage, TransfersWithoutDataTakeNoRoomButCount)
{
	spi_ioc_transfer nothing = {};

	nothing.len = INT_MAX;
	EXPECT_EQ(decode({nothing}).total, INT_MAX);
	EXPECT_EQ(decode({nothing}).error, 0);
	EXPECT_EQ(decode({nothing, receiving(1)}).error, EMSGSIZE);
	nothing.len = INT_MAX + 1u;
	EXPECT_EQ(decode({nothing}).error, EMSGSIZE);
}

TEST(SpiMessage, WhatIsTakenEndsWhereItIsTooBig)
{
	SpiMessage message = decode({sending(8), sending(5000), sending(8)});

	EXPECT_EQ(message.error, EMSGSIZE);
	EXPECT_EQ(message.sources.size(), 1u);
}

TEST_F(SettingsTest, WhatIsSetIsRead)
{
	EXPECT_EQ(run(SPI_IOC_WR_BITS_PER_WORD, 16), 0);
	EXPECT_EQ(run(SPI_IOC_WR_MAX_SPEED_HZ, 123456789), 0);
	EXPECT_EQ(run(SPI_IOC_WR_MODE, SPI_MODE_1), 0);
	EXPECT_EQ(run(SPI_IOC_WR_LSB_FIRST, 255), 0);
	EXPECT_EQ(get<std::uint8_t>(SPI_IOC_RD_BITS_PER_WORD), 16);
	EXPECT_EQ(get<std::uint32_t>(SPI_IOC_RD_MAX_SPEED_HZ), 123456789u);
	EXPECT_EQ(get<std::uint8_t>(SPI_IOC_RD_MODE), 9);
	EXPECT_EQ(get<std::uint32_t>(SPI_IOC_RD_MODE32), 9u);
	EXPECT_EQ(get<std::uint8_t>(SPI_IOC_RD_LSB_FIRST), 1);
	EXPECT_EQ(run(SPI_IOC_WR_MODE32, SPI_MODE_3), 0);
	EXPECT_EQ(get<std::uint32_t>(SPI_IOC_RD_MODE32), 3u);
	EXPECT_EQ(get<std::uint8_t>(SPI_IOC_RD_LSB_FIRST), 0);
}

TEST_F(SettingsTest, ARefusedOneStaysAsItWas)
{
	EXPECT_EQ(run(SPI_IOC_WR_BITS_PER_WORD, 33), EINVAL);
	EXPECT_EQ(run(SPI_IOC_WR_MAX_SPEED_HZ, 0), EINVAL);
	EXPECT_EQ(run(SPI_IOC_WR_MODE32, 0x10000000), EINVAL);
	EXPECT_EQ(get<std::uint8_t>(SPI_IOC_RD_BITS_PER_WORD), 8);
	EXPECT_EQ(get<std::uint32_t>(SPI_IOC_RD_MAX_SPEED_HZ), 10000000u);
	EXPECT_EQ(get<std::uint32_t>(SPI_IOC_RD_MODE32), 0u);
}

TEST_F(SettingsTest, FaultsHitWhatThereIs)
{
	converters_.set_fault(adc_, SpiAccess::IOCTL, EIO);
	EXPECT_EQ(run(SPI_IOC_WR_BITS_PER_WORD, 16), EIO);
	EXPECT_EQ(run(SPI_IOC_RD_MODE), EIO);
	EXPECT_EQ(run(_IOR(SPI_IOC_MAGIC, 9, int)), ENOTTY);
	converters_.set_fault(adc_, SpiAccess::IOCTL, 0);
	EXPECT_EQ(get<std::uint8_t>(SPI_IOC_RD_BITS_PER_WORD), 8);
}

TEST_F(SettingsTest, TheSizeBelongsToTheNumber)
{
	EXPECT_EQ(run(_IOW(SPI_IOC_MAGIC, 3, std::uint32_t), 16), ENOTTY);
	EXPECT_EQ(run(_IOR(SPI_IOC_MAGIC, 4, std::uint8_t)), ENOTTY);
	EXPECT_EQ(run(0), ENOTTY);
}
