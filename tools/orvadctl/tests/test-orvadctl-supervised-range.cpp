#include "orvadctl/supervised-range.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;
using Ranges = std::vector<Range>;

namespace orvadctl
{

void PrintTo(const Range &range, std::ostream *stream)
{
	*stream << range.state << " " << range.lower << "-" << range.upper;
}

} // namespace orvadctl

namespace
{

constexpr guint32 LAST = G_MAXUINT32;

util::VariantPtr parse_ranges(const char *text)
{
	return util::VariantPtr(g_variant_ref_sink(g_variant_new_parsed(text)));
}

struct SegmentsCase {
	const char *what;
	Ranges ranges;
	Ranges segments;
};

const SegmentsCase SEGMENTS_CASES[] = {
	{"none", {}, {{"undefined", 0, LAST}}},
	{"one in the middle",
	 {{"open", 10, 20}},
	 {{"undefined", 0, 9}, {"open", 10, 20}, {"undefined", 21, LAST}}},
	{"all there is", {{"open", 0, LAST}}, {{"open", 0, LAST}}},
	{"later one over an earlier one",
	 {{"closed", 0, 100}, {"short", 50, 150}},
	 {{"closed", 0, 49}, {"short", 50, 150}, {"undefined", 151, LAST}}},
	{"later one inside an earlier one",
	 {{"closed", 0, 100}, {"cut", 40, 60}},
	 {{"closed", 0, 39},
	  {"cut", 40, 60},
	  {"closed", 61, 100},
	  {"undefined", 101, LAST}}},
	{"earlier one hidden",
	 {{"cut", 40, 60}, {"closed", 0, 100}},
	 {{"closed", 0, 100}, {"undefined", 101, LAST}}},
	{"neighbours of one state",
	 {{"open", 0, 9}, {"open", 10, 20}},
	 {{"open", 0, 20}, {"undefined", 21, LAST}}},
	{"one level wide",
	 {{"cut", 7, 7}},
	 {{"undefined", 0, 6}, {"cut", 7, 7}, {"undefined", 8, LAST}}},
	{"reversed", {{"open", 20, 10}}, {{"undefined", 0, LAST}}},
	{"negative to the signed eye",
	 {{"open", 4294967286u, 5}, {"cut", 4294967286u, 4294967290u}},
	 {{"undefined", 0, 4294967285u},
	  {"cut", 4294967286u, 4294967290u},
	  {"undefined", 4294967291u, LAST}}},
	{"up to the last number",
	 {{"cut", LAST, LAST}},
	 {{"undefined", 0, LAST - 1}, {"cut", LAST, LAST}}},
	{"undefined by name",
	 {{"open", 0, 100}, {"undefined", 50, 60}},
	 {{"open", 0, 49},
	  {"undefined", 50, 60},
	  {"open", 61, 100},
	  {"undefined", 101, LAST}}},
};

struct MarginCase {
	const char *what;
	Ranges ranges;
	Readout readout;
	std::optional<std::pair<guint32, guint32>> margin;
};

using Pair = std::pair<guint32, guint32>;
const Ranges TWO = {{"closed", 0, 100}, {"short", 50, 150}};
const MarginCase MARGIN_CASES[] = {
	{"upper edge nearest", TWO, {"short", 140}, Pair{10, 150}},
	{"lower edge nearest", TWO, {"short", 60}, Pair{10, 50}},
	{"right on the edge", TWO, {"short", 150}, Pair{0, 150}},
	{"no edge at 8 bits' full scale",
	 {{"cut", 225, 255}},
	 {"cut", 255},
	 Pair{30, 225}},
	{"no edge at 12 bits' full scale",
	 {{"open", 0, 9}, {"cut", 10, 4095}},
	 {"cut", 4090},
	 Pair{4080, 10}},
	{"an edge below full scale",
	 {{"cut", 225, 254}},
	 {"cut", 254},
	 Pair{0, 254}},
	{"an edge at full scale of fewer bits",
	 {{"cut", 100, 127}},
	 {"cut", 127},
	 Pair{0, 127}},
	{"an edge where another range follows",
	 {{"open", 200, 255}, {"cut", 256, 300}},
	 {"open", 255},
	 Pair{0, 255}},
	{"no edge of the whole scale",
	 {{"open", 0, 255}},
	 {"open", 128},
	 std::nullopt},
	{"no edge at 0", TWO, {"closed", 0}, Pair{49, 49}},
	{"another range begins inside its own",
	 TWO,
	 {"closed", 45},
	 Pair{4, 49}},
	{"in no range", TWO, {"undefined", 160}, Pair{9, 151}},
	{"beyond everything", TWO, {"undefined", LAST}, Pair{LAST - 151, 151}},
	{"ranges that have changed", TWO, {"open", 60}, std::nullopt},
	{"no ranges", {}, {"undefined", 60}, std::nullopt},
	{"one range for all", {{"open", 0, LAST}}, {"open", 5}, std::nullopt},
};

} // namespace

TEST(RangesFromVariant, KeepsTheDaemonsOrder)
{
	Ranges ranges;
	ASSERT_TRUE(ranges_from_variant(
		parse_ranges("[('cut', uint32 500, uint32 600), ('x', 9, 1)]")
			.get(),
		ranges, nullptr));
	EXPECT_EQ(ranges, (Ranges{{"cut", 500, 600}, {"x", 9, 1}}));
}

TEST(RangesFromVariant, RefusesAnotherType)
{
	for (const char *text : {"[('cut', 1, 2)]", "['x']", "uint32 1"}) {
		Ranges ranges;
		util::Error error;
		EXPECT_FALSE(ranges_from_variant(parse_ranges(text).get(),
						 ranges, &error))
			<< text;
		EXPECT_TRUE(error) << text;
	}
}

TEST(SegmentsOf, TellsWhatEachLevelMeans)
{
	for (const SegmentsCase &c : SEGMENTS_CASES)
		EXPECT_EQ(segments_of(c.ranges), c.segments) << c.what;
}

TEST(SegmentsOf, AgreesWithLookingAtEachRangeInTurn)
{
	const Ranges ranges = {{"open", 3, 9},   {"closed", 0, 5},
			       {"cut", 8, 4},    {"short", 5, 5},
			       {"open", 11, 12}, {"cut", 12, 20}};
	const Ranges segments = segments_of(ranges);

	for (guint32 level = 0; level < 25; ++level) {
		std::string state = "undefined";
		for (const Range &range : ranges)
			if (range.lower <= level && level <= range.upper)
				state = range.state;
		EXPECT_EQ(find_segment(segments, level)->state, state) << level;
	}
}

TEST(SegmentsOf, CopesWithVeryManyRanges)
{
	constexpr guint32 COUNT = 200000;
	Ranges ranges;

	for (guint32 i = 0; i < COUNT; ++i)
		ranges.push_back({i % 2 ? "open" : "cut", i, 2 * COUNT - i});
	// Each lies inside the one before, the last but one level on each side.
	EXPECT_EQ(segments_of(ranges).size(), 2 * COUNT);
}

TEST(MarginOf, IsTheWayToAnotherMeaning)
{
	for (const MarginCase &c : MARGIN_CASES) {
		auto margin = margin_of(c.ranges, c.readout);
		ASSERT_EQ(margin.has_value(), c.margin.has_value()) << c.what;
		if (!margin)
			continue;
		EXPECT_EQ(margin->distance, c.margin->first) << c.what;
		EXPECT_EQ(margin->edge, c.margin->second) << c.what;
	}
}
