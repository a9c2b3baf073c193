#include "orvadctl/drawing.h"

#include <gtest/gtest.h>

using namespace orvadctl;

TEST(Drawing, FirstOneIsJustWritten)
{
	Drawing drawing;

	EXPECT_EQ(drawing.replace("a\nb", 80), "a\nb");
	EXPECT_TRUE(drawing.shows("a\nb"));
	EXPECT_FALSE(drawing.shows("a\nc"));
}

TEST(Drawing, NextOneGoesOverItFromTheFirstColumn)
{
	Drawing drawing;

	drawing.replace("a\nb\n", 80);
	EXPECT_EQ(drawing.replace("c", 80), "\r\033[3A\033[Jc");
	EXPECT_EQ(drawing.replace("d", 80), "\r\033[1A\033[Jd");
}

TEST(Drawing, LinesThatTheTerminalHasWrappedGoAsAWhole)
{
	Drawing drawing;

	drawing.replace("123456789\n\033[1m123\033[0m45\n12345678901\n", 80);
	EXPECT_EQ(drawing.replace("x", 5), "\r\033[7A\033[Jx");
}

TEST(Drawing, WidthIsThatOfWhatIsSeen)
{
	Drawing drawing;

	drawing.replace("\u9580\u9580\u9580", 80);
	EXPECT_EQ(drawing.replace("x", 5), "\r\033[2A\033[Jx");
}

TEST(Drawing, StaysOnceItIsLeft)
{
	Drawing drawing;

	drawing.replace("a", 80);
	drawing.leave();
	EXPECT_FALSE(drawing.shows("a"));
	EXPECT_EQ(drawing.replace("b", 80), "b");
}
