#include "orvadctl/text.h"

#include <gtest/gtest.h>

#include <string>

using namespace orvadctl;
using namespace std::string_literals;

TEST(Escape, LeavesOrdinaryTextAlone)
{
	EXPECT_EQ(escape("Front door 1 \"x\""), "Front door 1 \"x\"");
	EXPECT_EQ(escape("Tür 門 🚪"), "Tür 門 🚪");
	EXPECT_EQ(escape(""), "");
}

TEST(Escape, KeepsTextInOneLine)
{
	EXPECT_EQ(escape("a\nb\rc\td"), "a\\nb\\rc\\td");
	EXPECT_EQ(escape("a\u2028b\u2029c"), "a\\u2028b\\u2029c");
}

TEST(Escape, TakesTerminalControlAway)
{
	EXPECT_EQ(escape("\033[31mred\007"), "\\x1b[31mred\\x07");
	EXPECT_EQ(escape("\u009b31m"), "\\u009b31m");
	EXPECT_EQ(escape("\x7f"), "\\x7f");
}

TEST(Escape, ShowsCharactersThatReorderText)
{
	EXPECT_EQ(escape("\u202eabc"), "\\u202eabc");
	EXPECT_EQ(escape("\U000e0041"), "\\U000e0041");
}

TEST(Escape, DoublesBackslashesSoThatEscapesAreUnambiguous)
{
	EXPECT_EQ(escape("\\n"), "\\\\n");
}

TEST(Escape, ShowsBytesThatAreNotUtf8)
{
	EXPECT_EQ(escape("a\xff"
			 "b"),
		  "a\\xffb");
	EXPECT_EQ(escape("cut \xe9\x96"), "cut \\xe9\\x96");
	EXPECT_EQ(escape("a\0b"s), "a\\x00b");
}

TEST(Quote, EscapesQuotesAndBackslashes)
{
	EXPECT_EQ(quote("say \"hi\"\n"), "\"say \\\"hi\\\"\\n\"");
	EXPECT_EQ(quote("\\"), "\"\\\\\"");
	EXPECT_EQ(quote(""), "\"\"");
}

TEST(EscapeJson, WritesUnprintableCharactersAsJsonEscapes)
{
	EXPECT_EQ(escape_json("{\n\t\"a\": \"Tür\"}"), "{\n\t\"a\": \"Tür\"}");
	EXPECT_EQ(escape_json("\"\u009b\u202e\""), "\"\\u009b\\u202e\"");
	EXPECT_EQ(escape_json("\"\\n\""), "\"\\n\"");
}

TEST(EscapeJson, WritesCharactersOutsideTheBasicPlaneAsPairs)
{
	// U+E0041 is the pair DB40 DC41.
	EXPECT_EQ(escape_json("\"\U000e0041\""), "\"\\udb40\\udc41\"");
	EXPECT_EQ(escape_json("\"🚪\""), "\"🚪\"");
}

TEST(DisplayWidth, CountsColumnsNotBytes)
{
	EXPECT_EQ(display_width(""), 0u);
	EXPECT_EQ(display_width("Tür"), 3u);
	EXPECT_EQ(display_width("門x"), 3u);
	EXPECT_EQ(display_width("u\u0308"), 1u);
}

TEST(DisplayWidth, CopesWithBytesThatAreNotUtf8)
{
	EXPECT_EQ(display_width("a\xff"), 2u);
}

TEST(Clip, KeepsWhatFits)
{
	EXPECT_EQ(clip("Tür", 3), "Tür");
	EXPECT_EQ(clip("Tür", 2), "Tü");
	EXPECT_EQ(clip("Tür", 0), "");
	EXPECT_EQ(clip("", 5), "");
	EXPECT_EQ(clip("Tür", std::string::npos), "Tür");
}

TEST(Clip, CutsNoCharacterInHalf)
{
	EXPECT_EQ(clip("a門b", 2), "a");
	EXPECT_EQ(clip("a門b", 3), "a門");
	EXPECT_EQ(clip("u\u0308x", 1), "u\u0308");
}
