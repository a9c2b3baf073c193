// Adding a range to those of a supervised port.

#include "ioport/io-errors.h"
#include "ioport/port-supervision.h"
#include "port-fixture.h"

namespace
{

using testing::IsEmpty;
using testing::Pointwise;

MATCHER(SameRange, "")
{
	const auto &[range, expected] = arg;
	return range.state == expected.state &&
	       range.lower_limit == expected.lower_limit &&
	       range.upper_limit == expected.upper_limit;
}

/// The port's ranges are these, in this order.
void expect_ranges(const PortRef &port, const SupervisedRangeList &expected)
{
	EXPECT_THAT(port->supervised_ranges, Pointwise(SameRange(), expected));
}

struct Limits {
	guint32 lower;
	guint32 upper;
};

constexpr guint32 kHighestSigned = G_MAXINT32;
/// The lowest signed number.
constexpr guint32 kHalf = kHighestSigned + 1U;
/// Minus one.
constexpr guint32 kHighest = G_MAXUINT32;

class PortRangeTest : public PortTest
{
protected:
	PortRangeTest()
	{
		port_->supervised_ranges = before_;
	}
	bool add(const char *word, guint32 lower, guint32 upper)
	{
		return io_port_add_supervised_range(port_.get(), word, lower,
						    upper, &error_);
	}
	/// The range was refused for that reason, and nothing has changed.
	void expect_refused(IOSupervisedError code, const char *message)
	{
		expect_refused(io_supervised_error_quark(), code, message);
	}
	void expect_refused(GQuark domain, int code, const char *message)
	{
		EXPECT_TRUE(g_error_matches(error_.get(), domain, code));
		EXPECT_STREQ(error_.message(), message);
		expect_ranges(port_, before_);
	}

	const SupervisedRangeList before_ = {
		{.state = SUPERVISED_OPEN, .upper_limit = 5, .lower_limit = 0},
		{.state = SUPERVISED_CUT, .upper_limit = 40, .lower_limit = 30},
	};
	/// For a test that changes the port's table, which has to outlive it.
	IOPortFunctions table_;
	const PortRef port_ = make_port(PORT_INPUT);
	util::Error error_;
};

class ValidLimitsTest : public PortRangeTest,
			public testing::WithParamInterface<Limits>
{
};

TEST_P(ValidLimitsTest, AreTakenAsTheyAre)
{
	const auto &[lower, upper] = GetParam();
	EXPECT_TRUE(add("closed", lower, upper));
	EXPECT_FALSE(error_);
	expect_ranges(port_, {before_[0],
			      before_[1],
			      {.state = SUPERVISED_CLOSED,
			       .upper_limit = upper,
			       .lower_limit = lower}});
}

INSTANTIATE_TEST_SUITE_P(Small, ValidLimitsTest,
			 testing::Values(Limits{0, 1}, Limits{0, 65535},
					 Limits{65534, 65535}));

INSTANTIATE_TEST_SUITE_P(NegativeAsSigned, ValidLimitsTest,
			 testing::Values(Limits{kHighest, 0},
					 Limits{kHighest, 65535},
					 Limits{kHalf, 0}, Limits{kHalf, 65535},
					 Limits{kHalf, kHighest}));

class InvalidLimitsTest : public ValidLimitsTest
{
};

TEST_P(InvalidLimitsTest, AreRefused)
{
	const auto &[lower, upper] = GetParam();
	EXPECT_FALSE(add("closed", lower, upper));
	expect_refused(IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
		       "Invalid range.");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(TooHigh, InvalidLimitsTest,
			 testing::Values(Limits{0, 65536}, Limits{65535, 65536},
					 Limits{65536, 65537}, Limits{65536, 0},
					 Limits{0, kHighestSigned},
					 Limits{kHighestSigned, kHalf},
					 Limits{kHalf, 65536},
					 Limits{kHighest, kHighestSigned}));

INSTANTIATE_TEST_SUITE_P(NotBelowEachOther, InvalidLimitsTest,
			 testing::Values(Limits{0, 0}, Limits{100, 100},
					 Limits{65535, 65535}, Limits{200, 100},
					 Limits{65535, 0}, Limits{0, kHalf},
					 Limits{0, kHighest},
					 Limits{kHalf, kHalf},
					 Limits{kHighest, kHalf}));

TEST_F(PortRangeTest, ARangeOfNoStateIsRefused)
{
	for (const char *word : {"undefined", "tampered", "Open", ""}) {
		EXPECT_FALSE(add(word, 1, 2)) << word;
		expect_refused(IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
			       "State is undefined.");
	}
	EXPECT_FALSE(add(nullptr, 1, 2));
	expect_refused(IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
		       "State is undefined.");
}

TEST_F(PortRangeTest, TheLimitsAreLookedAtBeforeTheState)
{
	EXPECT_FALSE(add("tampered", 2, 1));
	expect_refused(IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
		       "Invalid range.");
}

TEST_F(PortRangeTest, TheRangeIsLookedAtBeforeThePort)
{
	fake_backends::data(port_.get())->supervisable = false;
	EXPECT_FALSE(add("tampered", 1, 2));
	expect_refused(IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
		       "State is undefined.");
}

TEST_F(PortRangeTest, APortWithoutRangesTakesNone)
{
	fake_backends::data(port_.get())->supervisable = false;
	EXPECT_FALSE(add("cut", 1, 2));
	expect_refused(IO_SUPERVISED_ERROR_GENERIC,
		       "Failed to get ranges from port.");
}

TEST_F(PortRangeTest, TheFirstRangeMakesAList)
{
	port_->supervised_ranges.clear();
	EXPECT_TRUE(add("short", 7, 9));
	expect_ranges(port_, {{.state = SUPERVISED_SHORT,
			       .upper_limit = 9,
			       .lower_limit = 7}});
}

TEST_F(PortRangeTest, ARangeGoesBehindTheOthersInPlaceOfTheOneOfItsState)
{
	EXPECT_TRUE(add("open", 10, 20));
	expect_ranges(port_, {before_[1],
			      {.state = SUPERVISED_OPEN,
			       .upper_limit = 20,
			       .lower_limit = 10}});
}

TEST_F(PortRangeTest, OfSeveralRangesOfOneStateTheFirstIsReplaced)
{
	port_->supervised_ranges = {before_[1], before_[0], before_[1]};
	EXPECT_TRUE(add("cut", 50, 60));
	expect_ranges(port_, {before_[0],
			      before_[1],
			      {.state = SUPERVISED_CUT,
			       .upper_limit = 60,
			       .lower_limit = 50}});
}

TEST_F(PortRangeTest, ABackendsRefusalIsPassedOnAndChangesNothing)
{
	use_table(port_, &table_);
	table_.set_supervised_ranges = [](IOPort *, SupervisedRangeList *,
					  GError **error) {
		g_set_error_literal(error, io_control_error_quark(),
				    IO_CONTROL_ERROR_BUSY, "Not now");
		return false;
	};
	EXPECT_FALSE(add("open", 1, 2));
	expect_refused(io_control_error_quark(), IO_CONTROL_ERROR_BUSY,
		       "Not now");
}

TEST_F(PortRangeTest, ABackendThatTakesNoRangesRefusesWithoutAReason)
{
	use_table(port_, &table_);
	table_.set_supervised_ranges = nullptr;
	EXPECT_FALSE(add("open", 1, 2));
	EXPECT_FALSE(error_);
	expect_ranges(port_, before_);
}

TEST_F(PortRangeTest, TheReasonNeedNotBeAskedFor)
{
	EXPECT_FALSE(io_port_add_supervised_range(port_.get(), "open", 2, 1,
						  nullptr));
	expect_ranges(port_, before_);
}

} // namespace
