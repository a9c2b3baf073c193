#include "backends/iio-sample.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <random>

namespace
{

using testing::FieldsAre;
using testing::Optional;

// ---- the type ----

TEST(IioType, AllFieldsAreRead)
{
	EXPECT_THAT(iio_parse_type("le:u12/16>>4"),
		    Optional(FieldsAre('l', 'u', 12U, 16U, 4U)));
	EXPECT_THAT(iio_parse_type("be:s24/32>>8"),
		    Optional(FieldsAre('b', 's', 24U, 32U, 8U)));
	EXPECT_THAT(iio_parse_type("le:u32/32>>0"),
		    Optional(FieldsAre('l', 'u', 32U, 32U, 0U)));
}

TEST(IioType, WhatFollowsTheFirstMisfitIsZero)
{
	EXPECT_THAT(iio_parse_type("le:u12/16"),
		    Optional(FieldsAre('l', 'u', 12U, 16U, 0U)));
	EXPECT_THAT(iio_parse_type("le:u12/16X2>>4"),
		    Optional(FieldsAre('l', 'u', 12U, 16U, 0U)));
	EXPECT_THAT(iio_parse_type("be:s8"),
		    Optional(FieldsAre('b', 's', 8U, 0U, 0U)));
	EXPECT_THAT(iio_parse_type("be:s"),
		    Optional(FieldsAre('b', 's', 0U, 0U, 0U)));
	EXPECT_THAT(iio_parse_type("be"),
		    Optional(FieldsAre('b', '\0', 0U, 0U, 0U)));
}

TEST(IioType, AnyCharacterWillDoAsTheFirstField)
{
	EXPECT_THAT(iio_parse_type("garbage"),
		    Optional(FieldsAre('g', '\0', 0U, 0U, 0U)));
	EXPECT_THAT(iio_parse_type("12"),
		    Optional(FieldsAre('1', '\0', 0U, 0U, 0U)));
}

TEST(IioType, NoTextIsNoType)
{
	EXPECT_EQ(iio_parse_type(""), std::nullopt);
}

// ---- decoding, by example ----

gint32 decode(const char *type, std::vector<guint8> bytes, gint32 shift = 0)
{
	return iio_decode(*iio_parse_type(type), bytes.data(), bytes.size(),
			  shift);
}

TEST(IioDecode, TwelveBitsAboveFourThatDoNotCount)
{
	EXPECT_EQ(decode("le:u12/16>>4", {0xcf, 0xab}), 0xabc);
}

TEST(IioDecode, BytesBelowTheValueAreMaskedAway)
{
	EXPECT_EQ(decode("be:u12/16>>0", {0xfa, 0xbc}), 0xabc);
}

TEST(IioDecode, ThreeBytesOfEitherEnd)
{
	EXPECT_EQ(decode("be:u24/24>>0", {0x12, 0x34, 0x56}), 0x123456);
	EXPECT_EQ(decode("le:u24/24>>0", {0x12, 0x34, 0x56}), 0x563412);
}

TEST(IioDecode, OnlyTheLetterBIsBigEndian)
{
	EXPECT_EQ(decode("xe:u16/16>>0", {0x12, 0x34}), 0x3412);
	EXPECT_EQ(decode("Be:u16/16>>0", {0x12, 0x34}), 0x3412);
}

TEST(IioDecode, OtherNumbersOfBytesAreZero)
{
	EXPECT_EQ(decode("be:u32/32>>0", {}), 0);
	EXPECT_EQ(decode("be:u32/32>>0", {1, 2, 3, 4, 5}), 0);
	EXPECT_EQ(decode("le:u32/64>>0", {1, 2, 3, 4, 5, 6, 7, 8}), 0);
}

TEST(IioDecode, ASignIsExtended)
{
	EXPECT_EQ(decode("be:s12/16>>4", {0xff, 0xf0}), -1);
	EXPECT_EQ(decode("be:s12/16>>4", {0x80, 0x00}), -2048);
	EXPECT_EQ(decode("be:s12/16>>4", {0x7f, 0xf0}), 2047);
}

TEST(IioDecode, TheFurtherShiftKeepsTheSign)
{
	EXPECT_EQ(decode("be:s16/16>>0", {0xff, 0xf0}, 2), -4);
	EXPECT_EQ(decode("be:u32/32>>0", {0x80, 0, 0, 0}, 31), -1);
	EXPECT_EQ(decode("be:u16/16>>0", {0xff, 0xf0}, 2), 0x3ffc);
}

TEST(IioDecode, OfShiftsTheLowFiveBitsCount)
{
	EXPECT_EQ(decode("be:u16/16>>36", {0x12, 0x34}), 0x123);
	EXPECT_EQ(decode("be:u16/16>>0", {0x12, 0x34}, 36), 0x123);
	EXPECT_EQ(decode("be:u32/32>>0", {0x80, 0, 0, 0}, -1), -1);
}

// ---- decoding, by digits ----

constexpr size_t kWord = 32;

std::string binary(unsigned value, size_t digits)
{
	std::string text;
	for (size_t i = 0; i < digits; ++i, value /= 2)
		text.insert(0, 1, value % 2 != 0 ? '1' : '0');
	return text;
}

/// The value of a two's complement number; without its sign when it has none.
gint64 value_of(const std::string &digits, bool is_signed)
{
	gint64 value = 0;
	for (const char digit : digits)
		value = value * 2 + (digit - '0');
	const bool negative = is_signed && digits.starts_with('1');
	return negative ? value - (gint64{1} << digits.size()) : value;
}

struct Sample {
	IioType type;
	std::vector<guint8> bytes;
	gint32 value_shift;
};

/// The sample's word, most significant digit first.
std::string word_of(const Sample &sample)
{
	std::vector<guint8> bytes = sample.bytes;
	if (sample.type.endianness != 'b')
		std::ranges::reverse(bytes);
	std::string word;
	for (const guint8 byte : bytes)
		word += binary(byte, 8);
	return std::string(kWord - word.size(), '0') + word;
}

gint32 expected(const Sample &sample)
{
	std::string digits = word_of(sample);
	digits.resize(kWord - sample.type.shift);
	digits.insert(0, sample.type.shift, '0');
	digits.erase(0, kWord - std::min(kWord, size_t{sample.type.bits}));
	const bool is_signed =
		sample.type.sign == 's' || digits.size() == kWord;
	gint64 value = value_of(digits, is_signed);
	for (gint32 i = 0; i < sample.value_shift; ++i)
		value = (value - (value % 2 != 0 && value < 0)) / 2;
	return static_cast<gint32>(value);
}

class RandomSamples
{
public:
	Sample next(size_t count, unsigned shift, unsigned bits)
	{
		Sample sample = {{below(2) != 0 ? 'b' : 'l',
				  below(2) != 0 ? 's' : 'u', bits,
				  static_cast<unsigned>(count * 8), shift},
				 std::vector<guint8>(count),
				 static_cast<gint32>(below(kWord))};
		for (guint8 &byte : sample.bytes)
			byte = static_cast<guint8>(below(0x100));
		return sample;
	}

private:
	unsigned below(unsigned limit)
	{
		return static_cast<unsigned>(random_() % limit);
	}
	std::mt19937 random_{20240229};
};

void expect_decoded(const Sample &sample)
{
	const gint32 value =
		iio_decode(sample.type, sample.bytes.data(),
			   sample.bytes.size(), sample.value_shift);
	ASSERT_EQ(value, expected(sample))
		<< sample.type.endianness << "e:" << sample.type.sign
		<< sample.type.bits << "/" << sample.type.size << ">>"
		<< sample.type.shift << ", then >>" << sample.value_shift
		<< " of " << testing::PrintToString(sample.bytes);
}

TEST(IioDecode, EverySizeShiftAndNumberOfBitsOfRandomSamples)
{
	constexpr int kOfEachKind = 24;
	RandomSamples samples;
	for (size_t count = 1; count <= kIioLargestSample; ++count)
		for (unsigned shift = 0; shift < kWord; ++shift)
			for (unsigned bits = 0; bits <= kWord; ++bits)
				for (int i = 0; i < kOfEachKind; ++i)
					ASSERT_NO_FATAL_FAILURE(
						expect_decoded(samples.next(
							count, shift, bits)));
}

} // namespace
