#include "backends/parse-number.h"

#include <gmock/gmock.h>

namespace
{

using namespace backend;

TEST(ParseNumberTest, TheBaseIsTheCallers)
{
	EXPECT_EQ(parse_int("010", kDecimal), 10);
	EXPECT_EQ(parse_int("0x10", kDecimal), 0);
	EXPECT_EQ(parse_int("010", kAnyBase), 8);
	EXPECT_EQ(parse_int("0x10", kAnyBase), 16);
	EXPECT_EQ(parse_uint("10", kHexadecimal), 16U);
	EXPECT_EQ(parse_uint("0x10", kHexadecimal), 16U);
}

TEST(ParseNumberTest, WhatIsNoNumberIs0)
{
	for (const char *text : {"", "many", "-", " "}) {
		EXPECT_EQ(parse_int(text, kDecimal), 0) << text;
		EXPECT_EQ(parse_uint(text, kDecimal), 0U) << text;
	}
}

TEST(ParseNumberTest, TheNumberEndsWhereNoDigitFollows)
{
	EXPECT_EQ(parse_int(" 12 ohms", kDecimal), 12);
	EXPECT_EQ(parse_uint("3.7", kDecimal), 3U);
}

TEST(ParseNumberTest, WhatDoesNotFitIsTheNearestThatDoes)
{
	EXPECT_EQ(parse_int("2147483647", kDecimal), G_MAXINT32);
	EXPECT_EQ(parse_int("2147483648", kDecimal), G_MAXINT32);
	EXPECT_EQ(parse_int("4294967295", kDecimal), G_MAXINT32);
	EXPECT_EQ(parse_int("9999999999999999999999", kDecimal), G_MAXINT32);
	EXPECT_EQ(parse_int("-2147483649", kDecimal), G_MININT32);
	EXPECT_EQ(parse_uint("4294967295", kDecimal), G_MAXUINT32);
	EXPECT_EQ(parse_uint("4294967296", kDecimal), G_MAXUINT32);
	EXPECT_EQ(parse_uint("9999999999999999999999", kDecimal), G_MAXUINT32);
}

TEST(ParseNumberTest, NegativeNumbersWrapWhereThereIsNoSign)
{
	EXPECT_EQ(parse_int("-5", kDecimal), -5);
	EXPECT_EQ(parse_uint("-1", kDecimal), G_MAXUINT32);
	EXPECT_EQ(parse_uint("-5", kDecimal), 4294967291U);
}

} // namespace
