/// The plain and the supervised mode of the "iio" backend, and its end.

#include "iio-port-fixture.h"
#include "wait-until.h"

#include <cerrno>

namespace
{

using fake_iio::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class IioModesTest : public IioTest
{
protected:
	void report_an_edge()
	{
		recorder::reset();
		fake_ugpio::edge("1");
		EXPECT_TRUE(wait_until([] {
			return recorder::count("io_event_send_event(") > 0;
		}));
	}
};

// ---- modes ----

TEST_F(IioModesTest, OnlyInputsAndConfigurablePortsCanBeSupervised)
{
	for (const auto &[type, can] : {std::pair(PORT_INPUT, true),
					{PORT_IO_CTRL, true},
					{PORT_OUTPUT, false}}) {
		port_->type = type;
		EXPECT_EQ(functions_->is_supervisable(port_.get()), can);
	}
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(IioModesTest, AnUnsupervisedInputReportsEdgesAndReadsNoSamples)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());
	report_an_edge();
	recorder::reset();
	sample(2000);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IioModesTest, ASupervisedInputReportsNoEdges)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());
	port_->supervised = true;
	io_port_set_watch(port_.get());
	fake_ugpio::edge("1");
	handle_pending();
	EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(IioModesTest, SupervisionSwitchesTheHardwareAndTheWatch)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());

	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	EXPECT_TRUE(data()->data_watch.is_on());
	EXPECT_THAT(line_writes(), control_lines(0, 1));
	sample(2000);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));

	EXPECT_TRUE(io_port_set_supervised(port_.get(), false));
	EXPECT_FALSE(data()->data_watch.is_on());
	EXPECT_THAT(line_writes(), control_lines(1, 0));
	report_an_edge();
}

TEST_F(IioModesTest, SupervisingAnOutputMakesItAnInput)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	set_up();
	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	EXPECT_TRUE(port_->direction);
	EXPECT_TRUE(data()->data_watch.is_on());
	sample(2000);
	EXPECT_THAT(reports(), Contains(SUPERVISED_SHORT));
}

TEST_F(IioModesTest, AWatchThatIsStartedAgainReportsAgain)
{
	supervise();
	sample(500);
	port_->supervised = false;
	io_port_set_watch(port_.get());
	port_->supervised = true;
	io_port_set_watch(port_.get());
	reports();
	sample(500);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_OPEN));
}

TEST_F(IioModesTest, WatchingTwiceIsWatchingOnce)
{
	supervise();
	sample(500);
	reports();
	io_port_set_watch(port_.get());
	sample(500);
	EXPECT_EQ(recorder::count("read("), 1U);
	EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(IioModesTest, AnOutputIsInactiveAndItsHardwareDisconnected)
{
	configure(PORT_IO_CTRL);
	port_->supervised = true;
	port_->output_activelow = true;
	set_up();
	io_port_set_watch(port_.get());
	port_->direction = false;
	EXPECT_TRUE(functions_->set_direction(port_.get(), false));
	EXPECT_FALSE(data()->data_watch.is_on());
	EXPECT_THAT(actions(), ElementsAre("ugpio_set_value(3, 0)",
					   "ugpio_set_value(sio, 0)",
					   "ugpio_set_value(2, 1)"));
}

TEST_F(IioModesTest, AnOutputIsLowBeforeItBecomesAnInput)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	set_up();
	port_->direction = true;
	EXPECT_TRUE(functions_->set_direction(port_.get(), true));
	EXPECT_THAT(actions(), ElementsAre("ugpio_set_value(2, 0)",
					   "ugpio_set_value(3, 1)",
					   "ugpio_set_value(sio, 0)"));
}

TEST_F(IioModesTest, TheStateIsTheRawValueOfTheCurrentLine)
{
	configure(PORT_IO_CTRL);
	port_->supervised = true;
	set_up();
	fake_ugpio::set_values("1", {7, 0, -1});
	fake_ugpio::set_values("2", {1});
	for (const int value : {7, 0, -1})
		EXPECT_EQ(functions_->get_state(port_.get()), value);
	port_->direction = false;
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
}

TEST_F(IioModesTest, OutputsAreDrivenAndInputsAreNot)
{
	configure(PORT_IO_CTRL);
	set_up();
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(actions(), ElementsAre("ugpio_set_value(2, 1)"));
	port_->type = PORT_INPUT;
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(actions(), IsEmpty());
}

// ---- the end ----

TEST_F(IioModesTest, AnotherSetUpOpensTheDeviceAgain)
{
	supervise();
	sample(500);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_FALSE(data()->data_watch.is_on());
	EXPECT_THAT(fake_iio::open_files(), ElementsAre(kDevFile));
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "3", "sio"));
	io_port_set_watch(port_.get());
	recorder::reset();
	sample(2000);
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_SHORT));
}

TEST_F(IioModesTest, NothingIsLeftOfAClosedPort)
{
	supervise();
	io_port_close(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
	EXPECT_EQ(handle_pending(), 0);
}

TEST_F(IioModesTest, AFaultThatIsTriedAgainDoesNotOutliveThePort)
{
	supervise();
	fake_iio::fail(Call::READ, kDevFile, EIO);
	sample(500);
	io_port_close(port_.get());
	GMainContext *context = g_main_context_default();
	int priority = 0;
	int timeout = 0;
	ASSERT_TRUE(g_main_context_acquire(context));
	EXPECT_FALSE(g_main_context_prepare(context, &priority));
	g_main_context_query(context, priority, &timeout, nullptr, 0);
	g_main_context_release(context);
	EXPECT_EQ(timeout, -1);
}

TEST_F(IioModesTest, AClosedPortIsSetUpAgainWithTheRangesItHas)
{
	supervise();
	ASSERT_TRUE(io_port_add_supervised_range(port_.get(), "open", 4000,
						 4095, nullptr));
	io_port_close(port_.get());
	ASSERT_TRUE(io_port_setup(port_.get()));
	io_port_set_watch(port_.get());
	sample(4000);
	expect_readout(SUPERVISED_OPEN, 4000);
}

TEST_F(IioModesTest, APortWithoutARecordHasNoState)
{
	port_->type = PORT_INPUT;
	EXPECT_EQ(functions_->get_state(port_.get()), -1);
	functions_->set_state(port_.get(), 1);
	functions_->set_watch(port_.get());
	EXPECT_FALSE(functions_->set_supervised(port_.get(), true));
	EXPECT_FALSE(functions_->set_direction(port_.get(), true));
	functions_->free(port_.get());
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
	EXPECT_FALSE(functions_->get_supervised_readout(port_.get(), &state,
							&level, &error));
	EXPECT_STREQ(error.message(), "The port is closed");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

} // namespace
