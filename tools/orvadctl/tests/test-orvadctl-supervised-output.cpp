#include "orvadctl/supervised-output.h"

#include <gtest/gtest.h>

#include <set>

using namespace orvadctl;

namespace
{

const char *const WORDS[] = {"open", "closed", "short", "cut", "undefined"};

} // namespace

TEST(LineState, EachWordHasALetterAndAColourOfItsOwn)
{
	std::set<char> letters;
	std::set<Style> styles;

	for (const char *word : WORDS) {
		letters.insert(line_state_letter(word));
		styles.insert(line_state_style(word));
	}
	EXPECT_EQ(letters.size(), std::size(WORDS));
	EXPECT_EQ(styles.size(), std::size(WORDS));
}

TEST(LineState, UnknownWordIsPlain)
{
	for (const char *word : {"", "Open", "tampered"}) {
		EXPECT_EQ(line_state_letter(word), '?') << word;
		EXPECT_EQ(line_state_style(word), Style::PLAIN) << word;
	}
}

TEST(LevelDetail, TellsTheWayToTheNearestEdge)
{
	const std::vector<Range> ranges = {{"closed", 0, 100},
					   {"short", 50, 150}};

	EXPECT_EQ(level_detail({"short", 140}, ranges),
		  ", level 140, 10 from its edge 150");
	EXPECT_EQ(level_detail({"short", 50}, ranges),
		  ", level 50, at its edge");
}

TEST(LevelDetail, TellsNoEdgeThatIsNotKnown)
{
	EXPECT_EQ(level_detail({"undefined", 4294967295u}, {}),
		  ", level 4294967295");
	EXPECT_EQ(level_detail({"open", 5}, {{"cut", 0, 10}}), ", level 5");
}

TEST(SupervisedJson, HasNumbersAsTheyAre)
{
	JsonWriter json;

	add_readout_members(json, {"cut", 4294967295u});
	add_range_members(json, {{"open", 9, 4294967295u}});
	EXPECT_EQ(json.line(),
		  "{\"state\":\"cut\",\"level\":4294967295,\"ranges\":"
		  "[{\"state\":\"open\",\"lower\":9,"
		  "\"upper\":4294967295}]}");
}

TEST(SupervisedJson, NoRangesAreAnEmptyArray)
{
	JsonWriter json;

	add_range_members(json, {});
	EXPECT_EQ(json.line(), "{\"ranges\":[]}");
}
