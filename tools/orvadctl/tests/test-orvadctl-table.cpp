#include "orvadctl/table.h"

#include <gtest/gtest.h>

using namespace orvadctl;

TEST(Table, AlignsColumnsTwoBlanksApart)
{
	Table table;
	table.add_row({std::string("NAME"), std::string("STATE")});
	table.add_row({std::string("a"), std::string("x")});
	table.add_row({std::string("longer"), std::string("y")});
	EXPECT_EQ(table.text(false), "NAME    STATE\n"
				     "a       x\n"
				     "longer  y\n");
}

TEST(Table, AlignsByDisplayWidth)
{
	Table table;
	table.add_row({std::string("門門"), std::string("x")});
	table.add_row({std::string("Tür"), std::string("y")});
	table.add_row({std::string("u\u0308"), std::string("z")});
	EXPECT_EQ(table.text(false), "門門  x\n"
				     "Tür   y\n"
				     "u\u0308     z\n");
}

TEST(Table, LeavesNoTrailingBlanks)
{
	Table table;
	table.add_row({std::string("a"), std::string(""), std::string("")});
	table.add_row({std::string("b"), std::string(""), std::string("c")});
	EXPECT_EQ(table.text(false), "a\n"
				     "b    c\n");
}

TEST(Table, RowsMayDifferInLength)
{
	Table table;
	table.add_row({std::string("a")});
	table.add_row({std::string("b"), std::string("c")});
	table.add_row({});
	EXPECT_EQ(table.text(false), "a\n"
				     "b  c\n"
				     "\n");
}

TEST(Table, VeryLongTextMovesItsOwnRowOnly)
{
	const std::string text(Table::WIDEST_COLUMN + 5, 'x');
	Table table;
	table.add_row({text, std::string("a")});
	table.add_row({std::string("b"), std::string("c")});
	EXPECT_EQ(table.text(false),
		  text + "  a\n" + "b" +
			  std::string(Table::WIDEST_COLUMN + 1, ' ') + "c\n");
}

TEST(Table, ColoursDoNotChangeTheAlignment)
{
	Table table;
	table.add_row({Cell("on", Style::ACTIVE), std::string("x")});
	table.add_row({std::string("off"), std::string("y")});
	EXPECT_EQ(table.text(true), "\033[32mon\033[0m   x\n"
				    "off  y\n");
}

TEST(Table, RowsAreCutWhereTheTerminalEnds)
{
	Table table;
	table.add_row({std::string("one"), Cell("門門", Style::ACTIVE),
		       std::string("three")});
	table.add_row({std::string("1"), std::string(""), std::string("3")});
	EXPECT_EQ(table.text(false, 12), "one  門門  t\n"
					 "1          3\n");
	EXPECT_EQ(table.text(true, 8), "one  \033[32m門\033[0m\n"
				       "1\n");
	EXPECT_EQ(table.text(false, 2), "on\n"
					"1\n");
}

TEST(Style, PlainAndEmptyTextGetsNoSequences)
{
	EXPECT_EQ(styled("x", Style::PLAIN, true), "x");
	EXPECT_EQ(styled("", Style::ACTIVE, true), "");
	EXPECT_EQ(styled("x", Style::ACTIVE, false), "x");
}
