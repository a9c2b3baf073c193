#include "board-fixture.h"
#include "simboard/converters.h"

#include <linux/spi/spi.h>

#include <climits>

using namespace simboard;

namespace
{

class ConvertersTest : public testing::Test
{
protected:
	ConvertersTest()
	{
		converters_.power_on({[this](Converter &) { ++plugged_; },
				      [this](Converter &) { ++unplugged_; }});
		converters_.set_level(adc_, 0x1f, 200, "front");
	}

	static SpiTransfer sending(const std::string &data)
	{
		SpiTransfer transfer;

		transfer.length = data.size();
		transfer.sent = data;
		return transfer;
	}
	static SpiTransfer receiving(std::size_t length)
	{
		SpiTransfer transfer;

		transfer.length = length;
		transfer.receives = true;
		return transfer;
	}
	int exchange(std::vector<SpiTransfer> message)
	{
		message_ = std::move(message);
		return converters_.exchange(adc_, message_);
	}
	static std::string command(unsigned address)
	{
		return {'\0', static_cast<char>(address)};
	}

	BoardDescription board_ = describe_loops();
	History history_;
	Converters converters_{board_, history_};
	Converter &adc_ = *converters_.find("adc");
	std::vector<SpiTransfer> message_;
	int plugged_ = 0, unplugged_ = 0;
};

} // namespace

TEST_F(ConvertersTest, AMessageSelectsAChannelAndReadsIt)
{
	EXPECT_EQ(exchange({sending(command(0x1f)), receiving(2)}), 0);
	EXPECT_EQ(message_[1].received, (std::string{'\x80', '\x0c'}));
	EXPECT_EQ(adc_.messages, 1u);
	EXPECT_EQ(adc_.transfers, 2u);
	EXPECT_EQ(adc_.adc.readings(0x1f), 1u);
}

TEST_F(ConvertersTest, WordsGoOnAcrossTransfersUnlessTheChipIsDeselected)
{
	EXPECT_EQ(exchange({sending({'\0'}), sending({'\x1f'}), receiving(1),
			    receiving(1)}),
		  0);
	EXPECT_EQ(message_[2].received, "\x80");
	EXPECT_EQ(message_[3].received, "\x0c");

	SpiTransfer half = receiving(1);
	half.deselects = true;
	EXPECT_EQ(exchange({half, receiving(1)}), 0);
	EXPECT_EQ(message_[1].received, "\x80");
}

TEST_F(ConvertersTest, ATransferWithoutDataMayBeAsLongAsAnInt)
{
	SpiTransfer nothing;
	nothing.length = INT_MAX;

	EXPECT_EQ(exchange({sending(command(0x1f)), nothing, receiving(1)}), 0);
	EXPECT_EQ(message_[2].received, "\x0c") << "an odd number of bytes";
}

TEST_F(ConvertersTest, ATransferIsOfWholeWords)
{
	EXPECT_EQ(exchange({receiving(3)}), 0);
	EXPECT_EQ(converters_.set_bits(adc_, 16, DAEMON), 0);
	EXPECT_EQ(exchange({receiving(3)}), EINVAL);
	EXPECT_EQ(exchange({receiving(2), receiving(4), receiving(0)}), 0);
	EXPECT_EQ(converters_.set_bits(adc_, 17, DAEMON), 0);
	EXPECT_EQ(exchange({receiving(2)}), EINVAL);

	SpiTransfer own = receiving(3);
	own.bits = 8;
	EXPECT_EQ(exchange({own}), 0);
	for (unsigned bits : {3u, 33u, 255u}) {
		own.bits = bits;
		EXPECT_EQ(exchange({own}), EINVAL);
	}
}

TEST_F(ConvertersTest, ARefusedMessageDoesNotReachTheChip)
{
	SpiTransfer dual = receiving(2);
	dual.receiving_wires = 2;

	EXPECT_EQ(exchange({sending(command(0x1f)), dual}), EINVAL);
	EXPECT_EQ(adc_.adc.selected(), 0u);
	EXPECT_EQ(adc_.messages, 0u);
	dual.receiving_wires = 1;
	EXPECT_EQ(exchange({dual}), 0);

	SpiTransfer quad = sending(command(0x1f));
	quad.sending_wires = 4;
	EXPECT_EQ(exchange({quad}), EINVAL);
	converters_.set_fault(adc_, SpiAccess::TRANSFER, EREMOTEIO);
	EXPECT_EQ(exchange({sending(command(0x1f))}), EREMOTEIO);
	EXPECT_EQ(adc_.adc.selected(), 0u);
}

TEST_F(ConvertersTest, TakesTheSettingsThatTheControllerHas)
{
	EXPECT_EQ(converters_.set_bits(adc_, 16, DAEMON), 0);
	EXPECT_EQ(converters_.set_speed(adc_, 500000, DAEMON), 0);
	EXPECT_EQ(converters_.set_mode(adc_, SPI_MODE_3, DAEMON), 0);
	EXPECT_EQ(converters_.set_lsb_first(adc_, 1, DAEMON), 0);
	EXPECT_EQ(adc_.settings.bits, 16u);
	EXPECT_EQ(adc_.settings.speed, 500000u);
	EXPECT_EQ(adc_.settings.mode, SPI_MODE_3 | SPI_LSB_FIRST);
	EXPECT_EQ(converters_.set_lsb_first(adc_, 0, DAEMON), 0);
	EXPECT_EQ(adc_.settings.mode, SPI_MODE_3);
	EXPECT_EQ(converters_.set_bits(adc_, 0, DAEMON), 0);
	EXPECT_EQ(adc_.settings.bits, 8u) << "0 is the usual";
}

TEST_F(ConvertersTest, RefusesSettingsThatItDoesNotHave)
{
	for (unsigned bits : {1u, 3u, 33u, 255u})
		EXPECT_EQ(converters_.set_bits(adc_, bits, DAEMON), EINVAL);
	EXPECT_EQ(converters_.set_speed(adc_, 0, DAEMON), EINVAL);
	for (unsigned long mode :
	     {SPI_3WIRE, SPI_LOOP, SPI_NO_CS, SPI_READY, SPI_CS_WORD,
	      SPI_TX_DUAL | SPI_TX_QUAD, SPI_RX_DUAL | SPI_RX_QUAD})
		EXPECT_EQ(converters_.set_mode(
				  adc_, static_cast<unsigned>(mode), DAEMON),
			  EINVAL)
			<< mode;
	EXPECT_EQ(converters_.set_mode(adc_, 0x80000000, DAEMON), EINVAL);
	EXPECT_EQ(adc_.settings.bits, 8u);
	EXPECT_EQ(adc_.settings.mode, 0u);
	// More wires than it has are left out without a word.
	EXPECT_EQ(converters_.set_mode(adc_, SPI_MODE_1 | SPI_TX_QUAD, DAEMON),
		  0);
	EXPECT_EQ(adc_.settings.mode, SPI_MODE_1);
}

TEST_F(ConvertersTest, SettingsAreInTheHistory)
{
	guint64 since = 1; // The level.

	converters_.set_bits(adc_, 16, DAEMON);
	converters_.set_bits(adc_, 99, DAEMON);
	converters_.set_speed(adc_, 9600, DAEMON);
	converters_.set_mode(adc_, 1, DAEMON);
	std::vector<std::string> texts;
	history_.visit_since(since, [&](const Change &change) {
		texts.push_back(change.name + " " + change.value);
		EXPECT_EQ(change.what, What::SETTING);
		EXPECT_EQ(change.actor, DAEMON);
		EXPECT_FALSE(change.number);
	});
	EXPECT_EQ(texts,
		  (std::vector<std::string>{"adc bits:16", "adc speed:9600",
					    "adc mode:1"}));
}

TEST_F(ConvertersTest, TheLastCloseTakesTheSpeedAlong)
{
	EXPECT_EQ(converters_.open(adc_), 0);
	EXPECT_EQ(converters_.open(adc_), 0);
	converters_.set_speed(adc_, 9600, DAEMON);
	converters_.set_bits(adc_, 16, DAEMON);
	converters_.close(adc_);
	EXPECT_EQ(adc_.settings.speed, 9600u);
	converters_.close(adc_);
	EXPECT_EQ(adc_.settings.speed, 10000000u);
	EXPECT_EQ(adc_.settings.bits, 16u);
	converters_.set_fault(adc_, SpiAccess::OPEN, EBUSY);
	EXPECT_EQ(converters_.open(adc_), EBUSY);
	EXPECT_EQ(adc_.users, 0u);
}

TEST_F(ConvertersTest, ComesBackWithTheSettingsOfPowerOn)
{
	converters_.open(adc_);
	converters_.set_bits(adc_, 16, DAEMON);
	converters_.set_plugged(adc_, false);
	converters_.set_plugged(adc_, false);
	EXPECT_EQ(unplugged_, 1);
	converters_.set_plugged(adc_, true);
	EXPECT_EQ(plugged_, 2) << "at power-on and now";
	EXPECT_EQ(adc_.settings.bits, 8u);
	EXPECT_EQ(adc_.users, 0u);
	EXPECT_EQ(adc_.adc.level(0x1f), 200u) << "the wiring stays";
}
