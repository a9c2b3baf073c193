#include "ioport/supervised-utils.h"

#include "util/glib-ptr.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;

constexpr guint32 kLowestNegative = 0x80000000;

util::VariantPtr variant_of(const SupervisedRangeList &ranges)
{
	return util::VariantPtr(
		g_variant_ref_sink(supervised_ranges2gvariant(ranges)));
}

/// "word lower..upper" of each range.
std::vector<std::string> lines(const SupervisedRangeList &ranges)
{
	std::vector<std::string> result;
	for (const SupervisedRange &range : ranges)
		result.push_back(std::string(supervised_range_state2string(
					 range.state)) +
				 " " + std::to_string(range.lower_limit) +
				 ".." + std::to_string(range.upper_limit));
	return result;
}

/// The ranges that @p text, an "a(suu)", becomes.
std::vector<std::string> ranges_of(const char *text)
{
	const util::VariantPtr value(g_variant_parse(
		G_VARIANT_TYPE("a(suu)"), text, nullptr, nullptr, nullptr));
	EXPECT_TRUE(value);
	return lines(supervised_gvariant2ranges(value.get()));
}

/// The lower limits of what an array of them becomes.
std::vector<guint32> sorted(const std::vector<guint32> &lower_limits)
{
	SupervisedRangeList ranges;
	for (const guint32 lower : lower_limits)
		ranges.push_back({.state = SUPERVISED_OPEN,
				  .upper_limit = 0,
				  .lower_limit = lower});
	std::vector<guint32> result;
	for (const SupervisedRange &range :
	     supervised_gvariant2ranges(variant_of(ranges).get()))
		result.push_back(range.lower_limit);
	return result;
}

// ---- The words ----

TEST(SupervisedUtilsTest, EveryStateHasItsNumberAndItsWord)
{
	const std::vector<std::pair<guint32, const char *>> states = {
		{0, "open"}, {1, "closed"},    {2, "short"},
		{3, "cut"},  {4, "undefined"},
	};
	for (const auto &[state, word] : states) {
		EXPECT_STREQ(supervised_range_state2string(state), word);
		EXPECT_EQ(supervised_range_string2state(word), state);
	}
}

TEST(SupervisedUtilsTest, AnyOtherTextIsUndefined)
{
	for (const char *word : {"Open", "CUT", "", "tampered", " open", "0"})
		EXPECT_EQ(supervised_range_string2state(word),
			  SUPERVISED_UNDEFINED)
			<< word;
	EXPECT_EQ(supervised_range_string2state(nullptr), SUPERVISED_UNDEFINED);
}

TEST(SupervisedUtilsDeathTest, ANumberAbove4IsNoState)
{
	for (const guint32 state : {5U, G_MAXUINT32})
		EXPECT_DEATH(supervised_range_state2string(state),
			     "ERROR:supervised-utils\\.c:[0-9]+:supervised_"
			     "range_state2string: code should not be reached");
}

TEST(SupervisedUtilsTest, ShortAndCutAreTampering)
{
	EXPECT_FALSE(supervised_state_is_tampered(SUPERVISED_OPEN));
	EXPECT_FALSE(supervised_state_is_tampered(SUPERVISED_CLOSED));
	EXPECT_TRUE(supervised_state_is_tampered(SUPERVISED_SHORT));
	EXPECT_TRUE(supervised_state_is_tampered(SUPERVISED_CUT));
	EXPECT_FALSE(supervised_state_is_tampered(SUPERVISED_UNDEFINED));
	EXPECT_FALSE(supervised_state_is_tampered(5));
}

// ---- Ranges as values ----

TEST(RangeEqualTest, RangesAreMatchedByTheirStateAlone)
{
	const SupervisedRange cut = {SUPERVISED_CUT, 2, 1};
	EXPECT_EQ(range_equal(cut, {SUPERVISED_CUT, 4, 3}), 0);
	EXPECT_NE(range_equal(cut, {SUPERVISED_OPEN, 2, 1}), 0);
}

TEST(RangesToVariantTest, EachRangeIsWordLowerAndUpperLimitInTheListsOrder)
{
	const util::VariantPtr value =
		variant_of({{.state = SUPERVISED_CUT,
			     .upper_limit = G_MAXUINT32,
			     .lower_limit = 500},
			    {.state = SUPERVISED_UNDEFINED,
			     .upper_limit = 0,
			     .lower_limit = 100}});
	const util::VariantPtr expected(g_variant_ref_sink(g_variant_new_parsed(
		"@a(suu) [('cut', 500, 4294967295), ('undefined', 100, 0)]")));
	EXPECT_TRUE(g_variant_equal(value.get(), expected.get()));
}

TEST(RangesToVariantTest, TheValueIsTheCallersToSink)
{
	GVariant *value = supervised_ranges2gvariant({});
	EXPECT_TRUE(g_variant_is_floating(value));
	g_variant_unref(g_variant_ref_sink(value));
}

TEST(RangesToVariantTest, NoRangesAreAnEmptyArrayOfTheSameType)
{
	const util::VariantPtr value = variant_of({});
	EXPECT_STREQ(g_variant_get_type_string(value.get()), "a(suu)");
	EXPECT_EQ(g_variant_n_children(value.get()), 0U);
	EXPECT_THAT(supervised_gvariant2ranges(value.get()),
		    testing::IsEmpty());
}

TEST(VariantToRangesTest, TheListIsSortedByTheLowerLimits)
{
	EXPECT_THAT(ranges_of("[('cut', 500, 600), ('open', 0, 100)]"),
		    ElementsAre("open 0..100", "cut 500..600"));
	EXPECT_THAT(sorted({7, 3, 9, 0, 65535, 5}),
		    ElementsAre(0, 3, 5, 7, 9, 65535));
}

TEST(VariantToRangesTest, OfEqualLowerLimitsTheLaterOneStandsFirst)
{
	EXPECT_THAT(ranges_of("[('open', 5, 6), ('cut', 5, 7), ('short', 5, 8),"
			      "('closed', 4, 9)]"),
		    ElementsAre("closed 4..9", "short 5..8", "cut 5..7",
				"open 5..6"));
}

TEST(VariantToRangesTest, AnUnknownWordIsUndefined)
{
	EXPECT_THAT(ranges_of("[('ajar', 1, 2), ('', 3, 4), ('CUT', 5, 6)]"),
		    ElementsAre("undefined 1..2", "undefined 3..4",
				"undefined 5..6"));
}

TEST(VariantToRangesTest, NothingElseIsLookedAt)
{
	EXPECT_THAT(ranges_of("[('open', 0, 65536), ('open', 70000, 1),"
			      "('cut', 80000, 80000)]"),
		    ElementsAre("open 0..65536", "open 70000..1",
				"cut 80000..80000"));
}

TEST(VariantToRangesTest, LowerLimitsLessThanHalfApartStandTheRightWayRound)
{
	EXPECT_THAT(sorted({0, kLowestNegative - 1}),
		    ElementsAre(0, kLowestNegative - 1));
	EXPECT_THAT(sorted({kLowestNegative - 1, 0}),
		    ElementsAre(0, kLowestNegative - 1));
	EXPECT_THAT(sorted({kLowestNegative - 1, kLowestNegative}),
		    ElementsAre(kLowestNegative - 1, kLowestNegative));
	EXPECT_THAT(sorted({G_MAXUINT32, kLowestNegative}),
		    ElementsAre(kLowestNegative, G_MAXUINT32));
}

TEST(VariantToRangesTest, LowerLimitsMoreThanHalfApartStandTheWrongWayRound)
{
	EXPECT_THAT(sorted({0, kLowestNegative + 1}),
		    ElementsAre(kLowestNegative + 1, 0));
	EXPECT_THAT(sorted({kLowestNegative + 1, 0}),
		    ElementsAre(kLowestNegative + 1, 0));
	EXPECT_THAT(sorted({0, G_MAXUINT32}), ElementsAre(G_MAXUINT32, 0));
	EXPECT_THAT(sorted({65535, 0, G_MAXUINT32}),
		    ElementsAre(G_MAXUINT32, 0, 65535));
}

TEST(VariantToRangesTest, TheFirstOneThatIsNotBelowDecidesWhereAllDisagree)
{
	EXPECT_THAT(sorted({0, 0x60000000, 0xc0000000}),
		    ElementsAre(0xc0000000, 0, 0x60000000));
}

} // namespace
