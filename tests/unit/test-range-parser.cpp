#include "backends/range-parser.h"

#include "backends/supervised-backend.h"
#include "log-capture.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class RangeParserTest : public testing::Test
{
protected:
	/// The range that the last of these attributes completes.
	std::optional<ParsedRange>
	parse(std::initializer_list<std::pair<const char *, const char *>>
		      attributes)
	{
		std::optional<ParsedRange> range;
		for (const auto &[key, value] : attributes)
			range = parser_.parse(key, value);
		return range;
	}
	void expect_range(const std::optional<ParsedRange> &range,
			  std::optional<std::string> state, gint32 lower,
			  gint32 upper)
	{
		ASSERT_TRUE(range);
		EXPECT_EQ(range->state, state);
		EXPECT_EQ(range->lower, lower);
		EXPECT_EQ(range->upper, upper);
	}

	RangeParser parser_;
};

TEST_F(RangeParserTest, UpperCompletesARange)
{
	EXPECT_FALSE(parse({{"state", "open"}, {"lower", "10"}}));
	expect_range(parse({{"upper", "20"}}), "open", 10, 20);
}

TEST_F(RangeParserTest, StateAndLowerComeInAnyOrder)
{
	expect_range(
		parse({{"lower", "10"}, {"state", "cut"}, {"upper", "20"}}),
		"cut", 10, 20);
}

TEST_F(RangeParserTest, ACompletedRangeLeavesNothingForTheNext)
{
	parse({{"state", "open"}, {"lower", "10"}, {"upper", "20"}});
	expect_range(parse({{"upper", "30"}}), std::nullopt, 0, 30);
}

TEST_F(RangeParserTest, ALowerAfterItsUpperCountsForTheNextRange)
{
	expect_range(parse({{"state", "open"}, {"upper", "20"}}), "open", 0,
		     20);
	parse({{"lower", "15"}});
	expect_range(parse({{"state", "cut"}, {"upper", "40"}}), "cut", 15, 40);
}

TEST_F(RangeParserTest, ARangeWithoutUpperIsNeverComplete)
{
	EXPECT_FALSE(parse({{"state", "open"}, {"lower", "1"}}));
	expect_range(parse({{"state", "cut"}, {"lower", "2"}, {"upper", "3"}}),
		     "cut", 2, 3);
}

TEST_F(RangeParserTest, LimitsAreDecimal)
{
	expect_range(
		parse({{"state", "open"}, {"lower", "010"}, {"upper", "0x20"}}),
		"open", 10, 0);
	expect_range(parse({{"lower", "-5"}, {"upper", "many"}}), std::nullopt,
		     -5, 0);
}

TEST_F(RangeParserTest, OtherAttributesAreIgnored)
{
	EXPECT_FALSE(parse({{"colour", "red"}}));
	expect_range(parse({{"upper", "1"}}), std::nullopt, 0, 1);
}

class ParsedRangeTest : public testing::Test
{
protected:
	ParsedRangeTest()
	{
		functions_.is_supervisable = supervised_is_supervisable;
		functions_.get_supervised_ranges =
			supervised_get_supervised_ranges;
		functions_.set_supervised_ranges =
			supervised_set_supervised_ranges;
		functions_.free = [](IOPort *) {};
		port_->functions = &functions_;
	}

	LogCapture log_;
	IOPortFunctions functions_ = {};
	PortRef port_ = PortRef::adopt(io_port_new());
};

TEST_F(ParsedRangeTest, ARangeIsAddedToThePort)
{
	add_parsed_range(port_.get(), {"cut", 10, 20});
	ASSERT_EQ(port_->supervised_ranges.size(), 1U);
	EXPECT_EQ(port_->supervised_ranges[0].state, SUPERVISED_CUT);
	EXPECT_EQ(port_->supervised_ranges[0].lower_limit, 10U);
	EXPECT_EQ(port_->supervised_ranges[0].upper_limit, 20U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ParsedRangeTest, ARangeThatIsRefusedIsWarnedOf)
{
	add_parsed_range(port_.get(), {"cut", 20, 10});
	add_parsed_range(port_.get(), {std::nullopt, 10, 20});
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to configure port: Invalid range.\n",
				"Failed to configure port: State is "
				"undefined.\n"));
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
}

} // namespace
