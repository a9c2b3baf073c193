#include "backends/supervised-backend.h"

#include "ioport/io-errors.h"

#include <gmock/gmock.h>

namespace
{

using testing::IsEmpty;
using testing::SizeIs;

class SupervisedBackendTest : public testing::Test
{
protected:
	PortRef port_ = PortRef::adopt(io_port_new());
	util::Error error_;
};

TEST_F(SupervisedBackendTest, InputsAndConfigurablePortsCanBeSupervised)
{
	for (const auto &[type, supervisable] : {std::pair(PORT_INPUT, true),
						 {PORT_IO_CTRL, true},
						 {PORT_OUTPUT, false}}) {
		port_->type = type;
		EXPECT_EQ(supervised_is_supervisable(port_.get()),
			  supervisable);
	}
}

TEST_F(SupervisedBackendTest, TheRangesAreThePortsOwn)
{
	EXPECT_EQ(supervised_get_supervised_ranges(port_.get()),
		  &port_->supervised_ranges);
}

TEST_F(SupervisedBackendTest, AListIsTakenOver)
{
	SupervisedRangeList list = {{SUPERVISED_CUT, 2, 1}};
	EXPECT_TRUE(
		supervised_set_supervised_ranges(port_.get(), &list, &error_));
	EXPECT_THAT(list, IsEmpty());
	EXPECT_THAT(port_->supervised_ranges, SizeIs(1));
	EXPECT_FALSE(error_);
}

TEST_F(SupervisedBackendTest, NoListIsRefused)
{
	port_->supervised_ranges = {{SUPERVISED_CUT, 2, 1}};
	SupervisedRangeList empty;
	for (SupervisedRangeList *list :
	     {static_cast<SupervisedRangeList *>(nullptr), &empty}) {
		util::Error error;
		EXPECT_FALSE(supervised_set_supervised_ranges(port_.get(), list,
							      &error));
		EXPECT_EQ(error.get()->domain, io_supervised_error_quark());
		EXPECT_EQ(error.get()->code,
			  IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE);
		EXPECT_STREQ(error.message(), "Ranges is null.");
	}
	EXPECT_THAT(port_->supervised_ranges, SizeIs(1));
}

TEST_F(SupervisedBackendTest, ALevelMeansTheStateOfTheLastRangeItIsIn)
{
	const SupervisedRangeList ranges = {{SUPERVISED_CLOSED, 100, 0},
					    {SUPERVISED_SHORT, 150, 50}};
	EXPECT_EQ(supervised_classify(ranges, 0), SUPERVISED_CLOSED);
	EXPECT_EQ(supervised_classify(ranges, 100), SUPERVISED_SHORT);
	EXPECT_EQ(supervised_classify(ranges, 150), SUPERVISED_SHORT);
	EXPECT_EQ(supervised_classify(ranges, 151), SUPERVISED_UNDEFINED);
}

TEST_F(SupervisedBackendTest, LimitsAreComparedUnsigned)
{
	const SupervisedRangeList ranges = {
		{SUPERVISED_CUT, G_MAXUINT32, 0x80000000}};
	EXPECT_EQ(supervised_classify(ranges, 0x7fffffff),
		  SUPERVISED_UNDEFINED);
	EXPECT_EQ(supervised_classify(ranges, 0x80000000), SUPERVISED_CUT);
	EXPECT_EQ(supervised_classify(ranges, G_MAXUINT32), SUPERVISED_CUT);
}

TEST_F(SupervisedBackendTest, NoLevelIsInAReversedRange)
{
	const SupervisedRangeList ranges = {{SUPERVISED_CUT, 10, 20}};
	for (guint32 level = 0; level <= 30; ++level)
		EXPECT_EQ(supervised_classify(ranges, level),
			  SUPERVISED_UNDEFINED);
}

TEST_F(SupervisedBackendTest, WithoutRangesEveryLevelIsUndefined)
{
	EXPECT_EQ(supervised_classify({}, 0), SUPERVISED_UNDEFINED);
}

} // namespace
