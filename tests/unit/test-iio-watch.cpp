/// What supervised ports on the "iio" backend measure and report.

#include "iio-port-fixture.h"
#include "wait-until.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

using IioWatchTest = IioTest;

// ---- samples ----

TEST_F(IioWatchTest, TheFirstSampleReportsWhateverTheStateIs)
{
	supervise();
	handle_pending();
	EXPECT_THAT(reports(), IsEmpty());
	sample(500);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN));
}

TEST_F(IioWatchTest, SamplesOfATimeWhenNobodyLookedAreNotReported)
{
	configure(PORT_INPUT);
	set_up();
	for (const guint16 level : {3500, 3501, 3502})
		sample(level);
	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	handle_pending();
	EXPECT_THAT(reports(), IsEmpty());
	sample(500);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN));
}

TEST_F(IioWatchTest, OnlyChangesAreReported)
{
	supervise();
	for (const guint16 level : {500, 501, 1000, 1999, 2000, 3999, 999})
		sample(level);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN, SUPERVISED_CLOSED,
					   SUPERVISED_SHORT, SUPERVISED_CUT,
					   SUPERVISED_OPEN));
}

TEST_F(IioWatchTest, ALevelInNoRangeIsReportedAsAChange)
{
	supervise();
	sample(4000);
	EXPECT_THAT(reports(), IsEmpty()); // undefined, as before the first
	sample(1000);
	sample(4000);
	EXPECT_THAT(reports(),
		    ElementsAre(SUPERVISED_CLOSED, SUPERVISED_UNDEFINED));
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(IioWatchTest, OfOverlappingRangesTheLastOneCounts)
{
	supervise();
	port_->supervised_ranges = {{SUPERVISED_CLOSED, 100, 0},
				    {SUPERVISED_SHORT, 150, 50}};
	for (const guint16 level : {0, 100, 49, 150, 151})
		sample(level);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED, SUPERVISED_SHORT,
					   SUPERVISED_CLOSED, SUPERVISED_SHORT,
					   SUPERVISED_UNDEFINED));
}

TEST_F(IioWatchTest, SamplesThatHaveComeTogetherAreHandledOneByOne)
{
	supervise();
	fake_iio::send(kDevFile, {"\x0f\x00\x0f\xff\x0f\x00", 6});
	handle_pending();
	EXPECT_THAT(reports(),
		    ElementsAre(SUPERVISED_OPEN, SUPERVISED_UNDEFINED,
				SUPERVISED_OPEN));
}

TEST_F(IioWatchTest, BigEndianSamplesOfThreeBytesBeginWithTheHighOne)
{
	set_type("be:u24/24>>0");
	supervise();
	fake_iio::send(kDevFile, {"\x00\x07\xd0", 3});
	handle_pending();
	expect_readout(SUPERVISED_SHORT, 2000);
}

TEST_F(IioWatchTest, TheConfiguredShiftComesOnTop)
{
	configure(PORT_INPUT);
	parse("device", "shift", "2");
	supervise();
	sample(2000);
	expect_readout(SUPERVISED_OPEN, 500);
}

TEST_F(IioWatchTest, ADisabledPortReportsNothing)
{
	supervise();
	port_->enabled = false;
	sample(2000);
	EXPECT_THAT(reports(), IsEmpty());
}

// ---- faults ----

TEST_F(IioWatchTest, AReadErrorIsReportedOnceAsUndefined)
{
	supervise();
	sample(500);
	reports();
	fake_iio::fail(Call::READ, kDevFile, EIO);
	sample(500);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_UNDEFINED));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("read Error: Input/output error",
				"Readout failed: Input/output error"));
	ASSERT_TRUE(wait_until([] { return recorder::count("read(") >= 2; }));
	EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(IioWatchTest, AfterAReadErrorWatchingGoesOn)
{
	supervise();
	sample(500);
	fake_iio::fail(Call::READ, kDevFile, EIO);
	sample(2000);
	fake_iio::fail(Call::READ, kDevFile, 0);
	reports();
	ASSERT_TRUE(wait_until([] { return recorder::count("read(") > 0; }));
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));
	sample(1000);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioWatchTest, AReadErrorKeepsTheLastLevel)
{
	supervise();
	sample(1234);
	fake_iio::fail(Call::READ, kDevFile, EIO);
	sample(500);
	expect_readout(SUPERVISED_CLOSED, 1234);
}

TEST_F(IioWatchTest, DataThatIsAnnouncedAndNotThereIsAFault)
{
	supervise();
	recorder::reset();
	fake_iio::fail(Call::READ, kDevFile, EAGAIN);
	sample(500);
	EXPECT_EQ(recorder::count("read("), 1U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("read Error: Resource temporarily unavailable",
				"Readout failed: Resource temporarily "
				"unavailable"));
}

TEST_F(IioWatchTest, ASampleOfNoBytesIsZeroAndHoldsNothingUp)
{
	set_type("le:u0/0>>0");
	supervise();
	recorder::reset();
	sample(500);
	EXPECT_EQ(recorder::count("read("), 0U);
	EXPECT_THAT(log_.warnings(), IsEmpty());
	expect_readout(SUPERVISED_OPEN, 0);
}

TEST_F(IioWatchTest, AFaultThatLastsFloodsNeitherTheLogNorTheLoop)
{
	constexpr size_t kReads = 5;
	supervise();
	fake_iio::fail(Call::READ, kDevFile, EIO);
	const gint64 start = g_get_monotonic_time();
	sample(500);
	ASSERT_TRUE(
		wait_until([] { return recorder::count("read(") >= kReads; }));
	const auto taken = static_cast<size_t>(g_get_monotonic_time() - start);
	EXPECT_GE(taken, 300000U);
	EXPECT_THAT(log_.warnings(), SizeIs(Le(4 + taken / 250000)));
}

TEST_F(IioWatchTest, ADeviceThatIsGoneIsReportedAndLeftAlone)
{
	supervise();
	sample(500);
	reports();
	fake_iio::hang_up(kDevFile);
	handle_pending();
	EXPECT_EQ(recorder::count("read("), 1U);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_UNDEFINED));
	EXPECT_EQ(handle_pending(), 0);
}

// ---- the readout ----

TEST_F(IioWatchTest, TheReadoutNeverTouchesTheDevice)
{
	supervise();
	expect_readout(SUPERVISED_OPEN, 0);
	sample(1234);
	recorder::reset();
	fake_iio::fail(Call::READ, kDevFile, EIO);
	expect_readout(SUPERVISED_CLOSED, 1234);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IioWatchTest, TheReadoutFollowsTheRangesAtOnce)
{
	supervise();
	sample(1234);
	ASSERT_TRUE(io_port_add_supervised_range(port_.get(), "cut", 1200, 1300,
						 nullptr));
	expect_readout(SUPERVISED_CUT, 1234);
	port_->supervised_ranges.clear();
	expect_readout(SUPERVISED_UNDEFINED, 1234);
}

TEST_F(IioWatchTest, APortThatIsNoInputOrConfigurableHasNoRangesToOffer)
{
	supervise();
	port_->type = PORT_OUTPUT;
	Readout readout;
	read(&readout);
	EXPECT_FALSE(readout.success);
	EXPECT_EQ(readout.state, SUPERVISED_UNDEFINED);
	ASSERT_TRUE(readout.error);
	EXPECT_EQ(readout.error.get()->code,
		  IO_SUPERVISED_ERROR_NOT_SUPERVISED);
	EXPECT_STREQ(readout.error.message(),
		     "Failed to get ranges from port door");
}

} // namespace
