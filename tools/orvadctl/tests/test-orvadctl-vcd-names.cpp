#include "orvadctl/vcd-names.h"

#include <gtest/gtest.h>

#include <set>

using namespace orvadctl;
using Names = std::vector<std::string>;

TEST(VcdIdentifierCode, IsOneCharacterForTheFirst94)
{
	EXPECT_EQ(vcd_identifier_code(0), "!");
	EXPECT_EQ(vcd_identifier_code(1), "\"");
	EXPECT_EQ(vcd_identifier_code(93), "~");
}

TEST(VcdIdentifierCode, GrowsBehindTheLastCharacter)
{
	EXPECT_EQ(vcd_identifier_code(94), "!!");
	EXPECT_EQ(vcd_identifier_code(95), "\"!");
	EXPECT_EQ(vcd_identifier_code(94 + 94 * 94 - 1), "~~");
	EXPECT_EQ(vcd_identifier_code(94 + 94 * 94), "!!!");
}

TEST(VcdIdentifierCode, IsPrintableAndGivenOnce)
{
	std::set<std::string> codes;

	for (std::size_t i = 0; i < 20000; ++i) {
		const std::string code = vcd_identifier_code(i);
		ASSERT_TRUE(codes.insert(code).second) << i;
		for (char c : code)
			ASSERT_TRUE(c >= '!' && c <= '~') << i;
	}
}

TEST(VcdReferenceNames, KeepWhatIsAllowed)
{
	EXPECT_EQ(vcd_reference_names({{1, "door_2"}, {2, "Lamp"}}),
		  (Names{"door_2", "Lamp"}));
}

TEST(VcdReferenceNames, ReplaceWhatAViewerWouldNotTake)
{
	EXPECT_EQ(vcd_reference_names({{1, "front door"},
				       {2, "bus[3]"},
				       {3, "$end"},
				       {4, "T\u00fcr\n"},
				       {5, "a.b-c\\"}}),
		  (Names{"front_door", "bus_3_", "_end", "T_r_", "a_b_c_"}));
}

TEST(VcdReferenceNames, BeginWithNoDigit)
{
	EXPECT_EQ(vcd_reference_names({{7, "3"}, {8, "2nd"}}),
		  (Names{"port_3", "port_2nd"}));
}

TEST(VcdReferenceNames, AreNumbersWhereThereIsNoName)
{
	EXPECT_EQ(vcd_reference_names({{5, ""}, {-7, ""}}),
		  (Names{"port_5", "port_m7"}));
}

TEST(VcdReferenceNames, AreGivenOnce)
{
	EXPECT_EQ(vcd_reference_names({{1, "a b"},
				       {2, "a_b"},
				       {3, "a_b_2"},
				       {4, "twin"},
				       {4, "twin"},
				       {4, "twin"}}),
		  (Names{"a_b", "a_b_2", "a_b_2_3", "twin", "twin_4",
			 "twin_4_4"}));
}
