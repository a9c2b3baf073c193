/// What the poll of a supervised port on the "spi" backend measures and
/// reports.

#include "spi-fixture.h"
#include "wait-until.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace
{

using fake_spi::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// The readout of a port: what the slot gives.
struct Readout {
	bool success = false;
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
};

class SpiPollTest : public SpiTest
{
protected:
	void read(Readout *readout)
	{
		readout->success = io_port_get_supervised_readout(
			port_.get(), &readout->state, &readout->level,
			&readout->error);
	}
	SupervisedState state_at(guint8 level)
	{
		fake_spi::set_level(0x1f, level);
		Readout readout;
		read(&readout);
		EXPECT_TRUE(readout.success);
		EXPECT_EQ(readout.level, level);
		return readout.state;
	}
	/// The signal's state argument of each report.
	std::vector<std::string> reports()
	{
		std::vector<std::string> found;
		for (const std::string &call : recorder::calls())
			if (call.starts_with("iocontrol_emit_port_changed(4"))
				found.push_back(call.substr(
					call.find(", state=") + 2, 7));
		return found;
	}
	void expect_error(const Readout &readout, const char *text)
	{
		EXPECT_FALSE(readout.success);
		ASSERT_TRUE(readout.error);
		EXPECT_EQ(readout.error.get()->domain,
			  io_supervised_error_quark());
		EXPECT_EQ(readout.error.get()->code,
			  IO_SUPERVISED_ERROR_GENERIC);
		EXPECT_STREQ(readout.error.message(), text);
	}
};

// ---- measuring ----

TEST_F(SpiPollTest, ALevelOnABoundIsInsideTheRange)
{
	supervise();
	EXPECT_EQ(state_at(0), SUPERVISED_OPEN);
	EXPECT_EQ(state_at(99), SUPERVISED_OPEN);
	EXPECT_EQ(state_at(100), SUPERVISED_CLOSED);
	EXPECT_EQ(state_at(149), SUPERVISED_CLOSED);
	EXPECT_EQ(state_at(150), SUPERVISED_SHORT);
	EXPECT_EQ(state_at(199), SUPERVISED_SHORT);
	EXPECT_EQ(state_at(200), SUPERVISED_CUT);
	EXPECT_EQ(state_at(255), SUPERVISED_CUT);
}

TEST_F(SpiPollTest, WhereRangesOverlapTheLaterOneWins)
{
	supervise();
	port_->supervised_ranges = {{SUPERVISED_CLOSED, 100, 0},
				    {SUPERVISED_SHORT, 150, 50}};
	EXPECT_EQ(state_at(0), SUPERVISED_CLOSED);
	EXPECT_EQ(state_at(49), SUPERVISED_CLOSED);
	EXPECT_EQ(state_at(50), SUPERVISED_SHORT);
	EXPECT_EQ(state_at(100), SUPERVISED_SHORT);
	EXPECT_EQ(state_at(150), SUPERVISED_SHORT);
	EXPECT_EQ(state_at(151), SUPERVISED_UNDEFINED);
}

TEST_F(SpiPollTest, AnEarlierRangeInsideALaterOneIsNeverSeen)
{
	supervise();
	port_->supervised_ranges = {{SUPERVISED_OPEN, 20, 10},
				    {SUPERVISED_CUT, 255, 0}};
	EXPECT_EQ(state_at(15), SUPERVISED_CUT);
}

TEST_F(SpiPollTest, AFailedTransferTellsWhy)
{
	supervise();
	fake_spi::fail(Call::MESSAGE, ESHUTDOWN);
	Readout readout;
	read(&readout);
	expect_error(readout, "Cannot send after transport endpoint shutdown");
	EXPECT_EQ(readout.state, SUPERVISED_UNDEFINED);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error: Cannot send after transport endpoint "
				"shutdown"));
}

TEST_F(SpiPollTest, AfterOneFailedTransferEveryLaterOneFails)
{
	supervise();
	fake_spi::fail(Call::MESSAGE, EIO);
	Readout first;
	read(&first);
	expect_error(first, "Input/output error");
	fake_spi::fail(Call::MESSAGE, 0);
	recorder::reset();
	for (int round = 0; round < 3; ++round) {
		Readout later;
		read(&later);
		expect_error(later, "Bad file descriptor");
	}
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SpiPollTest, AFileThatGotTheClosedDevicesNumberIsLeftAlone)
{
	supervise();
	fake_spi::fail(Call::MESSAGE, EIO);
	Readout first;
	read(&first);
	fake_spi::fail(Call::MESSAGE, 0);
	recorder::reset();
	const int other = open(path_.c_str(), O_RDWR | O_CLOEXEC);
	Readout later;
	read(&later);
	expect_error(later, "Bad file descriptor");
	io_port_close(port_.get());
	EXPECT_EQ(recorder::count("message"), 0U);
	EXPECT_EQ(close(other), 0);
}

TEST_F(SpiPollTest, AnotherSetUpOpensTheConverterAgain)
{
	supervise();
	fake_spi::fail(Call::MESSAGE, EIO);
	Readout first;
	read(&first);
	fake_spi::fail(Call::MESSAGE, 0);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(state_at(120), SUPERVISED_CLOSED);
}

TEST_F(SpiPollTest, APortThatIsNoInputOrConfigurableHasNoRangesToOffer)
{
	supervise();
	port_->type = PORT_OUTPUT;
	Readout readout;
	readout.success = functions_->get_supervised_readout(
		port_.get(), &readout.state, &readout.level, &readout.error);
	EXPECT_FALSE(readout.success);
	ASSERT_TRUE(readout.error);
	EXPECT_EQ(readout.error.get()->code,
		  IO_SUPERVISED_ERROR_NOT_SUPERVISED);
	EXPECT_STREQ(readout.error.message(),
		     "Failed to get ranges from port door");
}

// ---- polling ----

TEST_F(SpiPollTest, TheConverterIsPolledEvery250Milliseconds)
{
	const gint64 before = g_get_monotonic_time();
	supervise();
	const GSource *source =
		g_main_context_find_source_by_id(nullptr, data()->poll_id.id());
	ASSERT_NE(source, nullptr);
	const gint64 due =
		g_source_get_ready_time(const_cast<GSource *>(source));
	EXPECT_GE(due, before + 250000);
	EXPECT_LE(due, g_get_monotonic_time() + 250000);
}

TEST_F(SpiPollTest, TheFirstTickReportsWhateverTheStateIs)
{
	supervise();
	tick_with(50);
	EXPECT_THAT(reports(), ElementsAre("state=0"));
}

TEST_F(SpiPollTest, OnlyChangesAreReported)
{
	supervise();
	tick_with(50);
	tick_with(51);
	EXPECT_THAT(reports(), IsEmpty());
	tick_with(210);
	EXPECT_THAT(reports(), ElementsAre("state=1"));
	tick_with(211);
	EXPECT_THAT(reports(), IsEmpty());
	tick_with(0);
	EXPECT_THAT(reports(), ElementsAre("state=0"));
}

TEST_F(SpiPollTest, ALevelInNoRangeIsReportedAsAChange)
{
	supervise();
	port_->supervised_ranges = {{SUPERVISED_CLOSED, 149, 100}};
	tick_with(10);
	EXPECT_THAT(reports(), IsEmpty()); // undefined, as before the first
	tick_with(120);
	EXPECT_THAT(reports(), ElementsAre("state=1"));
	tick_with(10);
	EXPECT_THAT(reports(), ElementsAre("state=1"));
}

TEST_F(SpiPollTest, AFailedReadoutIsLoggedAndPollingGoesOn)
{
	supervise();
	tick_with(50);
	fake_spi::fail(Call::MESSAGE, EIO);
	tick_with(50);
	EXPECT_THAT(reports(), IsEmpty());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error: Input/output error",
				"Readout failed: Input/output error"));
	EXPECT_NE(data()->poll_id.id(), 0U);
	log_.clear();
	tick_with(50);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error: Bad file descriptor",
				"Readout failed: Bad file descriptor"));
}

TEST_F(SpiPollTest, AFaultThatLastsDoesNotFloodTheLog)
{
	supervise();
	fake_spi::fail(Call::MESSAGE, EIO);
	for (int round = 0; round < 100; ++round)
		tick();
	EXPECT_THAT(log_.warnings(), SizeIs(testing::Le(8U)));
}

TEST_F(SpiPollTest, APollThatIsStartedAgainReportsAgain)
{
	supervise();
	tick_with(50);
	io_port_set_supervised(port_.get(), false);
	io_port_set_supervised(port_.get(), true);
	tick_with(50);
	EXPECT_THAT(reports(), ElementsAre("state=0"));
}

TEST_F(SpiPollTest, WatchingTwiceLeavesOnePollThatKeepsItsState)
{
	supervise();
	tick_with(50);
	const guint poll = data()->poll_id.id();
	io_port_set_watch(port_.get());
	EXPECT_EQ(data()->poll_id.id(), poll);
	tick_with(50);
	EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(SpiPollTest, PortsOfAnyNumberKeepTheirLastStatesApart)
{
	supervise();
	port_->number = 4000;
	tick_with(50);
	const PortRef other = PortRef::adopt(io_port_new());
	std::swap(port_->number, other->number);
	EXPECT_EQ(data()->last_state, SUPERVISED_OPEN);
	tick_with(210);
	EXPECT_EQ(data()->last_state, SUPERVISED_CUT);
}

TEST_F(SpiPollTest, ADisabledPortReportsNothing)
{
	supervise();
	port_->enabled = false;
	tick_with(210);
	EXPECT_THAT(reports(), IsEmpty());
}

} // namespace
