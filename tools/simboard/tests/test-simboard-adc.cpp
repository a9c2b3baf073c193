#include "simboard/adc.h"

#include <gtest/gtest.h>

using namespace simboard;

namespace
{

class AdcTest : public testing::Test
{
protected:
	AdcTest()
	{
		adc_.set_level(0x1f, 0xab);
		adc_.set_level(0x20, 0x05);
		adc_.select();
	}
	/// A word that is sent and listened to.
	unsigned exchange(unsigned word)
	{
		unsigned low =
			adc_.exchange(static_cast<std::uint8_t>(word), true);
		unsigned high = adc_.exchange(
			static_cast<std::uint8_t>(word >> 8), true);
		return low | high << 8;
	}
	unsigned listen()
	{
		unsigned low = adc_.exchange(std::nullopt, true);
		return low | unsigned{adc_.exchange(std::nullopt, true)} << 8;
	}

	Adc adc_;
};

} // namespace

TEST_F(AdcTest, AnswersWithTheSelectedChannelFromBit4)
{
	exchange(0x1f00);
	EXPECT_EQ(listen(), 0x0ab0u);
	exchange(0x2000);
	EXPECT_EQ(listen(), 0x0050u);
}

TEST_F(AdcTest, TheAnswerToACommandIsOfTheOneBefore)
{
	exchange(0x1f00);
	EXPECT_EQ(exchange(0x2000), 0x0ab0u);
	EXPECT_EQ(exchange(0x1f00), 0x0050u);
}

TEST_F(AdcTest, ListeningIsNoCommand)
{
	exchange(0x1f00);
	listen();
	EXPECT_EQ(listen(), 0x0ab0u);
	EXPECT_EQ(adc_.selected(), 0x1fu);
}

TEST_F(AdcTest, TheLowByteOfACommandMeansNothing)
{
	exchange(0x1fff);
	EXPECT_EQ(listen(), 0x0ab0u);
}

TEST_F(AdcTest, WhereNothingIsConnectedItReadsZero)
{
	exchange(0xff00);
	EXPECT_EQ(listen(), 0u);
}

TEST_F(AdcTest, HasEveryLevelOnEveryChannel)
{
	for (unsigned address = 0; address < 256; ++address)
		adc_.set_level(address, 255 - address);
	for (unsigned address = 0; address < 256; ++address) {
		exchange(address << 8);
		EXPECT_EQ(listen(), (255 - address) << 4);
	}
}

TEST_F(AdcTest, ChipSelectEndsAWordInTheMiddle)
{
	exchange(0x1f00);
	adc_.exchange(0x20, true);
	adc_.select();
	EXPECT_EQ(listen(), 0x0ab0u);
}

TEST_F(AdcTest, CountsWhatSomebodyHasListenedTo)
{
	exchange(0x1f00);
	EXPECT_EQ(adc_.readings(0x1f), 0u);
	listen();
	listen();
	adc_.exchange(std::nullopt, false);
	adc_.exchange(std::nullopt, false);
	EXPECT_EQ(adc_.readings(0x1f), 2u);
	EXPECT_EQ(adc_.readings(0x20), 0u);
}
