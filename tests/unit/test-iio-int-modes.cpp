/// The plain and the supervised mode of the "iio-interrupt" backend, and its
/// mode "adc".

#include "iio-int-fixture.h"
#include "wait-until.h"

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class IioIntModesTest : public IioIntTest
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

class IioIntAdcTest : public IioIntModesTest
{
protected:
	IioIntAdcTest()
	{
		make_adc();
	}
};

// ---- measuring ----

TEST_F(IioIntModesTest, TheReadoutIsTheLastLevel)
{
	supervise();
	cross("150");
	set_raw("250");
	recorder::reset();
	expect_readout(SUPERVISED_CLOSED, 150);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(IioIntModesTest, TheReadoutFollowsTheRangesAtOnce)
{
	supervise();
	cross("150");
	ASSERT_TRUE(io_port_add_supervised_range(port_.get(), "cut", 140, 160,
						 nullptr));
	expect_readout(SUPERVISED_CUT, 150);
	port_->supervised_ranges.clear();
	expect_readout(SUPERVISED_UNDEFINED, 150);
}

TEST_F(IioIntModesTest, WithoutCachingTheReadoutIsFresh)
{
	configure(PORT_INPUT);
	parse("device", "cache_ad_value", "false");
	supervise_as_configured();
	set_raw("250");
	expect_readout(SUPERVISED_SHORT, 250);
	set_raw("350");
	expect_readout(SUPERVISED_CUT, 350);
}

TEST_F(IioIntModesTest, APortThatIsNoInputOrConfigurableHasNoRangesToOffer)
{
	supervise();
	port_->type = PORT_OUTPUT;
	Readout readout;
	read(&readout);
	port_->type = PORT_INPUT;
	EXPECT_FALSE(readout.success);
	EXPECT_EQ(readout.state, SUPERVISED_UNDEFINED);
	ASSERT_TRUE(readout.error);
	EXPECT_EQ(readout.error.get()->code,
		  IO_SUPERVISED_ERROR_NOT_SUPERVISED);
	EXPECT_STREQ(readout.error.message(),
		     "Failed to get ranges from port door");
}

TEST_F(IioIntModesTest, TheStateOfASupervisedInputIsFreshlyMeasured)
{
	supervise();
	for (const auto &[raw, state] : {std::pair("50", SUPERVISED_OPEN),
					 {"150", SUPERVISED_CLOSED},
					 {"250", SUPERVISED_SHORT},
					 {"350", SUPERVISED_CUT},
					 {"450", SUPERVISED_UNDEFINED}}) {
		set_raw(raw);
		EXPECT_EQ(functions_->get_state(port_.get()), state);
	}
}

TEST_F(IioIntModesTest, TheStateOfAnyOtherPortIsTheRawValueOfItsLine)
{
	configure(PORT_IO_CTRL);
	set_up();
	fake_ugpio::set_values("1", {7, 0, -1});
	fake_ugpio::set_values("2", {1});
	for (const int value : {7, 0, -1})
		EXPECT_EQ(functions_->get_state(port_.get()), value);
	port_->direction = false;
	port_->supervised = true;
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
	EXPECT_EQ(recorder::count("read("), 0U);
}

// ---- plain and supervised mode ----

TEST_F(IioIntModesTest, OnlyInputsAndConfigurablePortsCanBeSupervised)
{
	for (const auto &[type, can] : {std::pair(PORT_INPUT, true),
					{PORT_IO_CTRL, true},
					{PORT_OUTPUT, false}}) {
		port_->type = type;
		EXPECT_EQ(functions_->is_supervisable(port_.get()), can);
		parse("device", "mode", "threshold");
		EXPECT_EQ(functions_->is_supervisable(port_.get()), can);
	}
}

TEST_F(IioIntModesTest, AnUnsupervisedInputReportsEdgesAndArmsNothing)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());
	EXPECT_THAT(writes(), ElementsAre(threshold("either_en", "0")));
	report_an_edge();
}

TEST_F(IioIntModesTest, ASupervisedInputReportsNoEdges)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());
	port_->supervised = true;
	io_port_set_watch(port_.get());
	recorder::reset();
	fake_ugpio::edge("1");
	handle_pending();
	EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(IioIntModesTest, SupervisionSwitchesTheHardwareAndTheWatch)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());

	recorder::reset();
	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	EXPECT_THAT(line_writes(), control_lines(0, 1));
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));

	EXPECT_TRUE(io_port_set_supervised(port_.get(), false));
	EXPECT_THAT(line_writes(), control_lines(1, 0));
	report_an_edge();
}

TEST_F(IioIntModesTest, SupervisingAnOutputMakesItAnInput)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	set_up();
	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	EXPECT_TRUE(port_->direction);
	recorder::reset();
	cross("150");
	EXPECT_THAT(reports(), Contains(SUPERVISED_CLOSED));
}

TEST_F(IioIntModesTest, APullUpStaysOnWhileSupervised)
{
	configure(PORT_INPUT);
	parse("device", "pullup_when_supervised", "true");
	port_->supervised = true;
	ASSERT_TRUE(io_port_setup(port_.get()));
	const auto made = line_writes();
	EXPECT_THAT(made, Contains("ugpio_set_value(sio, 1)"));
	EXPECT_THAT(made, Not(Contains("ugpio_set_value(3, 0)")));
	EXPECT_TRUE(functions_->set_supervised(port_.get(), true));
	EXPECT_THAT(line_writes(), control_lines(1, 1));
	port_->supervised = false;
	EXPECT_TRUE(functions_->set_supervised(port_.get(), false));
	EXPECT_THAT(line_writes(), control_lines(1, 0));
}

TEST_F(IioIntModesTest, APullUpIsOffOnAnOutput)
{
	configure(PORT_IO_CTRL);
	parse("device", "pullup_when_supervised", "true");
	port_->supervised = true;
	set_up();
	port_->direction = false;
	EXPECT_TRUE(functions_->set_direction(port_.get(), false));
	EXPECT_THAT(line_writes(), ElementsAre("ugpio_set_value(3, 0)",
					       "ugpio_set_value(sio, 0)",
					       "ugpio_set_value(2, 0)"));
	port_->direction = true;
	EXPECT_TRUE(functions_->set_direction(port_.get(), true));
	EXPECT_THAT(line_writes(), ElementsAre("ugpio_set_value(2, 0)",
					       "ugpio_set_value(3, 1)",
					       "ugpio_set_value(sio, 1)"));
}

TEST_F(IioIntModesTest, AnOutputIsNotWatched)
{
	configure(PORT_IO_CTRL);
	port_->supervised = true;
	port_->output_activelow = true;
	set_up();
	io_port_set_watch(port_.get());
	port_->direction = false;
	recorder::reset();
	EXPECT_TRUE(functions_->set_direction(port_.get(), false));
	EXPECT_THAT(actions(), ElementsAre(threshold("either_en", "0"),
					   "ugpio_set_value(3, 0)",
					   "ugpio_set_value(sio, 0)",
					   "ugpio_set_value(2, 1)"));
	cross("150");
	EXPECT_EQ(recorder::count("read(events0)"), 0U);
}

TEST_F(IioIntModesTest, OutputsAreDrivenAndInputsAreNot)
{
	configure(PORT_IO_CTRL);
	set_up();
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(actions(), ElementsAre("ugpio_set_value(2, 1)"));
	port_->type = PORT_INPUT;
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(actions(), IsEmpty());
}

TEST_F(IioIntModesTest, APortWithoutARecordHasNoState)
{
	port_->type = PORT_INPUT;
	EXPECT_TRUE(functions_->is_supervisable(port_.get()));
	EXPECT_EQ(functions_->get_state(port_.get()), -1);
	functions_->set_state(port_.get(), 1);
	functions_->set_watch(port_.get());
	EXPECT_FALSE(functions_->set_supervised(port_.get(), true));
	EXPECT_FALSE(functions_->set_direction(port_.get(), true));
	functions_->close(port_.get());
	functions_->free(port_.get());
	Readout readout;
	read(&readout);
	EXPECT_FALSE(readout.success);
	EXPECT_STREQ(readout.error.message(), "The port is closed");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- mode "adc" ----

TEST_F(IioIntAdcTest, NeedsNoLines)
{
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(recorder::calls(), Not(Contains(StartsWith("ugpio_"))));
	EXPECT_THAT(log_.messages(), IsEmpty());
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
}

TEST_F(IioIntAdcTest, UsesNoLinesEither)
{
	parse_lines(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	io_port_set_watch(port_.get());
	EXPECT_THAT(recorder::calls(), Not(Contains(StartsWith("ugpio_"))));
}

TEST_F(IioIntAdcTest, CannotBeSupervised)
{
	for (const IOPortType type : {PORT_INPUT, PORT_IO_CTRL, PORT_OUTPUT}) {
		port_->type = type;
		EXPECT_FALSE(functions_->is_supervisable(port_.get()));
	}
	port_->type = PORT_INPUT;
	set_up();
	EXPECT_FALSE(io_port_set_supervised(port_.get(), true));
	EXPECT_FALSE(port_->supervised);
	EXPECT_EQ(io_port_get_supervised_state(port_.get()), SUPERVISED_OPEN);
	util::Error error;
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	EXPECT_FALSE(io_port_get_supervised_readout(port_.get(), &state, &level,
						    &error));
	EXPECT_STREQ(error.message(), "Port is non-supervised");
}

TEST_F(IioIntAdcTest, TheStateIsTheNumberOfTheRangesState)
{
	set_up();
	for (const auto &[raw, state] : {std::pair("50", 0),
					 {"150", 1},
					 {"250", 2},
					 {"350", 3},
					 {"450", 4}}) {
		set_raw(raw);
		EXPECT_EQ(functions_->get_state(port_.get()), state);
	}
}

TEST_F(IioIntAdcTest, ThePortsRangesDoNotCount)
{
	set_up();
	port_->supervised_ranges = {{SUPERVISED_CUT, 400, 0}};
	set_raw("150");
	EXPECT_EQ(functions_->get_state(port_.get()), SUPERVISED_CLOSED);
	io_port_set_watch(port_.get());
	EXPECT_THAT(writes(), armed("200", "100"));
	expect_readout(SUPERVISED_CLOSED, 150);
}

TEST_F(IioIntAdcTest, EventsAreOnWithoutSupervision)
{
	set_up();
	io_port_set_watch(port_.get());
	EXPECT_THAT(writes(), armed("99", "0"));
	cross("150");
	cross("160");
	cross("250");
	EXPECT_THAT(reports(),
		    ElementsAre(SUPERVISED_CLOSED, SUPERVISED_SHORT));
}

TEST_F(IioIntAdcTest, TheEventsAreOnWhateverTheSwitchSays)
{
	set_up();
	for (const bool enable : {false, true}) {
		recorder::reset();
		EXPECT_TRUE(functions_->set_supervised(port_.get(), enable));
		EXPECT_THAT(actions(), armed("99", "0"));
	}
	cross("150");
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntAdcTest, LimitsArePolledWithTheBackendsRanges)
{
	parse("device", "lower_limit", "100");
	set_up();
	io_port_set_watch(port_.get());
	EXPECT_TRUE(is_polled());
	set_raw("150");
	recorder::reset();
	poll();
	EXPECT_FALSE(is_polled());
	EXPECT_THAT(reports(), ElementsAre(SUPERVISED_CLOSED));
}

TEST_F(IioIntAdcTest, AChangeOfDirectionDrivesNothing)
{
	port_->type = PORT_IO_CTRL;
	set_up();
	io_port_set_watch(port_.get());
	recorder::reset();
	EXPECT_TRUE(functions_->set_direction(port_.get(), false));
	EXPECT_THAT(actions(), ElementsAre(threshold("either_en", "0")));
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(actions(), IsEmpty());
}

TEST_F(IioIntAdcTest, NothingIsLeftOfAClosedPort)
{
	set_up();
	io_port_set_watch(port_.get());
	io_port_close(port_.get());
	EXPECT_THAT(fake_iio::open_files(), IsEmpty());
	EXPECT_EQ(handle_pending(), 0);
}

} // namespace
