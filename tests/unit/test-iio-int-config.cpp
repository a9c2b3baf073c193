#include "backends/iio-int-config.h"

#include "iio-int-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::Optional;

using IioIntConfigTest = IioIntTest;

TEST_F(IioIntConfigTest, WithoutAnItemThereIsNoRecord)
{
	EXPECT_EQ(port_->backend_data, nullptr);
}

TEST_F(IioIntConfigTest, ARecordHasDefaults)
{
	parse("device", "any", "item");
	EXPECT_EQ(data()->mode, IIO_INT_THRESHOLD);
	EXPECT_EQ(data()->driver, std::nullopt);
	EXPECT_EQ(data()->channel_name, std::nullopt);
	EXPECT_EQ(data()->chan_extend_name, std::nullopt);
	EXPECT_EQ(data()->shared_samplefreq, std::nullopt);
	EXPECT_EQ(data()->shared_thresh_either_period, std::nullopt);
	EXPECT_EQ(data()->voltage_channel, 0U);
	EXPECT_EQ(data()->hysteresis, 0U);
	EXPECT_EQ(data()->bitshift, 0U);
	EXPECT_EQ(data()->integration_time, 0U);
	EXPECT_EQ(data()->lower_limit, 0xffffffffU);
	EXPECT_EQ(data()->upper_limit, 0xffffffffU);
	EXPECT_EQ(data()->limit_timeout, 1000U);
	EXPECT_FALSE(data()->one_threshold);
	EXPECT_TRUE(data()->cache_ad_value);
	EXPECT_FALSE(data()->pullup_when_supervised);
}

TEST_F(IioIntConfigTest, TextsAreCopiedAndTheLastOneCounts)
{
	for (const char *key :
	     {"driver", "channel_name", "chan_extend_name", "shared_samplefreq",
	      "shared_thresh_either_period"}) {
		parse("device", key, "first");
		parse("device", key, std::string("the ") + key);
	}
	EXPECT_THAT(data()->driver, Optional<std::string>("the driver"));
	EXPECT_THAT(data()->channel_name,
		    Optional<std::string>("the channel_name"));
	EXPECT_THAT(data()->chan_extend_name,
		    Optional<std::string>("the chan_extend_name"));
	EXPECT_THAT(data()->shared_samplefreq,
		    Optional<std::string>("the shared_samplefreq"));
	EXPECT_THAT(data()->shared_thresh_either_period,
		    Optional<std::string>("the shared_thresh_either_period"));
}

TEST_F(IioIntConfigTest, EachNumberHasAField)
{
	parse("device", "channel", "1");
	parse("device", "hysteresis", "2");
	parse("device", "limit_timeout", "3");
	parse("device", "lower_limit", "4");
	parse("device", "upper_limit", "5");
	parse("device", "bitshift", "6");
	parse("device", "integration_time", "7");
	EXPECT_EQ(data()->voltage_channel, 1U);
	EXPECT_EQ(data()->hysteresis, 2U);
	EXPECT_EQ(data()->limit_timeout, 3U);
	EXPECT_EQ(data()->lower_limit, 4U);
	EXPECT_EQ(data()->upper_limit, 5U);
	EXPECT_EQ(data()->bitshift, 6U);
	EXPECT_EQ(data()->integration_time, 7U);
}

TEST_F(IioIntConfigTest, NumbersAreDecimal)
{
	for (const auto &[text, number] : {std::pair("010", 10U),
					   {"0x10", 0U},
					   {"12ms", 12U},
					   {"", 0U},
					   {"-2", 0xfffffffeU}}) {
		parse("device", "hysteresis", text);
		parse("device", "bitshift", text);
		EXPECT_EQ(data()->hysteresis, number) << text;
		EXPECT_EQ(data()->bitshift, number) << text;
	}
}

TEST_F(IioIntConfigTest, SomeNumbersHaveASign)
{
	for (const char *key :
	     {"hysteresis", "lower_limit", "integration_time"})
		parse("device", key, "4294967295");
	EXPECT_EQ(data()->hysteresis, G_MAXUINT32);
	EXPECT_EQ(data()->lower_limit, guint32{G_MAXINT32});
	EXPECT_EQ(data()->integration_time, guint32{G_MAXINT32});
}

TEST_F(IioIntConfigTest, MinusOneIsNoLimit)
{
	parse("device", "lower_limit", "10");
	parse("device", "upper_limit", "20");
	parse("device", "lower_limit", "-1");
	parse("device", "upper_limit", "-1");
	EXPECT_EQ(data()->lower_limit, IioIntPortData::kNoLimit);
	EXPECT_EQ(data()->upper_limit, IioIntPortData::kNoLimit);
}

TEST_F(IioIntConfigTest, OneThresholdIsSetByTrueAndResetByAnythingElse)
{
	for (const char *other : {"false", "TRUE", "1", "true "}) {
		parse("device", "one_threshold", "true");
		EXPECT_TRUE(data()->one_threshold);
		parse("device", "one_threshold", other);
		EXPECT_FALSE(data()->one_threshold) << other;
	}
}

TEST_F(IioIntConfigTest, AnyModeButAdcLeavesTheModeAsItIs)
{
	for (const char *other : {"ADC", "threshold", "1", ""}) {
		parse("device", "mode", other);
		EXPECT_EQ(data()->mode, IIO_INT_THRESHOLD) << other;
	}
	parse("device", "mode", "adc");
	EXPECT_EQ(data()->mode, IIO_INT_ADC);
	parse("device", "mode", "threshold");
	EXPECT_EQ(data()->mode, IIO_INT_ADC);
}

TEST_F(IioIntConfigTest, CachingIsEndedByFalseAlone)
{
	for (const char *other : {"FALSE", "False", "0", "no", ""}) {
		parse("device", "cache_ad_value", other);
		EXPECT_TRUE(data()->cache_ad_value) << other;
	}
	parse("device", "cache_ad_value", "false");
	EXPECT_FALSE(data()->cache_ad_value);
	parse("device", "cache_ad_value", "true");
	EXPECT_FALSE(data()->cache_ad_value);
}

TEST_F(IioIntConfigTest, ThePullUpIsSetByTrueAlone)
{
	for (const char *other : {"TRUE", "1", ""}) {
		parse("device", "pullup_when_supervised", other);
		EXPECT_FALSE(data()->pullup_when_supervised) << other;
	}
	parse("device", "pullup_when_supervised", "true");
	EXPECT_TRUE(data()->pullup_when_supervised);
	parse("device", "pullup_when_supervised", "false");
	EXPECT_TRUE(data()->pullup_when_supervised);
}

TEST_F(IioIntConfigTest, EachPinHasAnElement)
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

TEST_F(IioIntConfigTest, WhatIsUnknownIsIgnored)
{
	parse("device", "name", "chip");
	parse("adc", "driver", "chip");
	parse("Device", "driver", "chip");
	EXPECT_EQ(data()->driver, std::nullopt);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioIntConfigTest, RangesAreThePorts)
{
	port_->type = PORT_INPUT;
	parse_range("open", "1", "2");
	parse_range("short", "3", "4");
	EXPECT_THAT(port_->supervised_ranges,
		    ElementsAre(FieldsAre(SUPERVISED_OPEN, 2U, 1U),
				FieldsAre(SUPERVISED_SHORT, 4U, 3U)));
	EXPECT_THAT(data()->ranges, IsEmpty());
}

TEST_F(IioIntConfigTest, ARangeThatIsRefusedIsWarnedOf)
{
	port_->type = PORT_INPUT;
	parse_range("open", "20", "20");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to configure port: Invalid range.\n"));
}

TEST_F(IioIntConfigTest, InModeAdcRangesAreTheBackendsAndNotChecked)
{
	port_->type = PORT_INPUT;
	parse("device", "mode", "adc");
	parse_range("open", "20", "20");
	parse_range("open", "9", "-1");
	parse_range("tampered", "70000", "80000");
	EXPECT_THAT(
		data()->ranges,
		ElementsAre(FieldsAre(SUPERVISED_OPEN, 20U, 20U),
			    FieldsAre(SUPERVISED_OPEN, 0xffffffffU, 9U),
			    FieldsAre(SUPERVISED_UNDEFINED, 80000U, 70000U)));
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IioIntConfigTest, RangesBeforeTheModeAreThePorts)
{
	port_->type = PORT_INPUT;
	parse_range("open", "1", "2");
	parse("device", "mode", "adc");
	parse_range("short", "3", "4");
	EXPECT_THAT(port_->supervised_ranges,
		    ElementsAre(FieldsAre(SUPERVISED_OPEN, 2U, 1U)));
	EXPECT_THAT(data()->ranges,
		    ElementsAre(FieldsAre(SUPERVISED_SHORT, 4U, 3U)));
}

} // namespace
