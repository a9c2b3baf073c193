#include "comma-locale.h"
#include "orvadctl/arguments.h"

#include <gtest/gtest.h>

using namespace orvadctl;
using namespace std::string_literals;

TEST(ParseSwitch, KnowsThreeWordsForEachState)
{
	for (const char *word : {"on", "active", "1"})
		EXPECT_EQ(parse_switch(word), true) << word;
	for (const char *word : {"off", "inactive", "0"})
		EXPECT_EQ(parse_switch(word), false) << word;
}

TEST(ParseSwitch, RefusesAnythingElse)
{
	for (const char *word : {"", "ON", "true", "on ", "2", "01", "-1"})
		EXPECT_EQ(parse_switch(word), std::nullopt) << word;
}

TEST(ParseDirection, KnowsTwoWords)
{
	EXPECT_EQ(parse_direction("input"), true);
	EXPECT_EQ(parse_direction("output"), false);
	for (const char *word : {"", "Input", "in", "output "})
		EXPECT_EQ(parse_direction(word), std::nullopt) << word;
}

TEST(ParseLevel, KnowsTwoWords)
{
	EXPECT_EQ(parse_level("open"), true);
	EXPECT_EQ(parse_level("closed"), false);
	for (const char *word : {"", "Open", "close", "high"})
		EXPECT_EQ(parse_level(word), std::nullopt) << word;
}

TEST(ParseInteger, TakesAnyNumberOf32Bits)
{
	EXPECT_EQ(parse_integer("-2147483648"), G_MININT32);
	EXPECT_EQ(parse_integer("2147483647"), G_MAXINT32);
	for (const char *text : {"", "-", "+1", "2147483648", "-2147483649"})
		EXPECT_EQ(parse_integer(text), std::nullopt) << text;
}

TEST(ParseMilliseconds, TakesWhatTheDaemonCanHold)
{
	EXPECT_EQ(parse_milliseconds("0"), 0);
	EXPECT_EQ(parse_milliseconds("500"), 500);
	EXPECT_EQ(parse_milliseconds("2147483"), 2147483);
	EXPECT_EQ(parse_milliseconds("2147484"), std::nullopt);
}

TEST(ParseMilliseconds, IsStrict)
{
	for (const char *text :
	     {"", "-1", "+1", " 1", "1 ", "1.5", "1,5", "1e3", "0x10", "ms",
	      "1ms", "18446744073709551617"})
		EXPECT_EQ(parse_milliseconds(text), std::nullopt) << text;
	EXPECT_EQ(parse_milliseconds("1\0"s), std::nullopt);
}

TEST(ParseCount, StartsAtOne)
{
	EXPECT_EQ(parse_count("0"), std::nullopt);
	EXPECT_EQ(parse_count("1"), 1u);
	EXPECT_EQ(parse_count("4294967295"), 4294967295u);
	EXPECT_EQ(parse_count("4294967296"), std::nullopt);
}

TEST(ParseTimeout, IsInSecondsWithDecimals)
{
	EXPECT_EQ(parse_timeout("25"), 25000);
	EXPECT_EQ(parse_timeout("0.5"), 500);
	EXPECT_EQ(parse_timeout("1.25"), 1250);
	EXPECT_EQ(parse_timeout("0.001"), 1);
	EXPECT_EQ(parse_timeout("86400"), 86400000);
}

TEST(ParseTimeout, RefusesWhatIsOutOfRangeOrNoNumber)
{
	for (const char *text : {"", "0", "0.000", "-1", "86400.001", "86401",
				 "1.", ".5", "1.2345", "1,5", "1e2", "inf",
				 "nan", "1.-5", "99999999999999999999"})
		EXPECT_EQ(parse_timeout(text), std::nullopt) << text;
}

TEST(ParseTimeout, TakesAPointInEveryLocale)
{
	CommaLocale locale;
	EXPECT_EQ(parse_timeout("1.5"), 1500);
	EXPECT_EQ(parse_timeout("1,5"), std::nullopt);
}

TEST(ParsePortNumber, TakesWhatAPortCanHave)
{
	EXPECT_EQ(parse_port_number("0"), 0);
	EXPECT_EQ(parse_port_number("2147483647"), 2147483647);
	EXPECT_EQ(parse_port_number("-1"), -1);
	EXPECT_EQ(parse_port_number("-7"), -7);
	EXPECT_EQ(parse_port_number("-2147483648"), G_MININT32);
}

TEST(ParsePortNumber, NeverWrapsAround)
{
	for (const char *text :
	     {"2147483648", "4294967295", "4294967297", "18446744073709551617",
	      "-2147483649", "-4294967295"})
		EXPECT_EQ(parse_port_number(text), std::nullopt) << text;
}

TEST(ParsePortNumber, IsStrict)
{
	for (const char *text :
	     {"", "-", "--7", "-+7", "- 7", "-7 ", "+7", " 7", "-0", "1x"})
		EXPECT_EQ(parse_port_number(text), std::nullopt) << text;
	EXPECT_EQ(parse_port_number("-7\0"s), std::nullopt);
}

TEST(ParseLimit, TakesWhatFitsInto32Bits)
{
	EXPECT_EQ(parse_limit("0"), 0u);
	EXPECT_EQ(parse_limit("65536"), 65536u);
	EXPECT_EQ(parse_limit("4294967295"), 4294967295u);
	EXPECT_EQ(parse_limit("4294967296"), std::nullopt);
}

TEST(ParseLimit, TakesHexadecimalBehindItsPrefix)
{
	EXPECT_EQ(parse_limit("0x0"), 0u);
	EXPECT_EQ(parse_limit("0xff"), 255u);
	EXPECT_EQ(parse_limit("0xFFFFFFFF"), 4294967295u);
	EXPECT_EQ(parse_limit("0x100000000"), std::nullopt);
}

TEST(ParseLimit, IsStrict)
{
	for (const char *text : {"", "-1", "+1", " 1", "1 ", "1.5", "1e3", "ff",
				 "0x", "0x-1", "0x 1", "0x0x1", "x1", "0xg"})
		EXPECT_EQ(parse_limit(text), std::nullopt) << text;
	EXPECT_EQ(parse_limit("1\0"s), std::nullopt);
	EXPECT_EQ(parse_limit("0x1\0"s), std::nullopt);
}
