/// The set-up, the configuration and the modes of the "spi" backend; its poll
/// is in test-spi-poll.cpp.

#include "spi-fixture.h"

#include <cerrno>

namespace
{

using fake_spi::Call;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr char kChanged[] =
	"iocontrol_emit_port_changed(4, virtual=0, hidden=0, input=1, "
	"virtual_trig=0, state=0, activelow=0)";

using SpiBackendTest = SpiTest;
using SpiBackendDeathTest = SpiTest;

/// Two control lines, in the order in which they are written.
auto control_lines(int ioctrl, int sioctrl)
{
	return ElementsAre("ugpio_set_value(3, " + std::to_string(ioctrl) + ")",
			   "ugpio_set_value(sio, " + std::to_string(sioctrl) +
				   ")");
}

// ---- configuration ----

TEST_F(SpiBackendTest, AnAddressIsHexadecimalWithOrWithoutAPrefix)
{
	for (const auto &[text, address] : {std::pair("1f", 0x1fU),
					    {"0x1f", 0x1fU},
					    {"0X1F", 0x1fU},
					    {"10", 0x10U},
					    {"12345678", 0x12345678U}}) {
		parse("address", "any", text);
		EXPECT_EQ(data()->address, address) << text;
	}
}

TEST_F(SpiBackendTest, AnAddressThatIsNoNumberLeavesTheOneBefore)
{
	parse("address", "value", "2a");
	parse("address", "value", "first");
	EXPECT_EQ(data()->address, 0xfU); // the "f" is a number
	parse("address", "value", "none");
	EXPECT_EQ(data()->address, 0xfU);
}

TEST_F(SpiBackendTest, ASpeedIsDecimalHexadecimalOrOctal)
{
	for (const auto &[text, speed] : {std::pair("500000", 500000U),
					  {"0x7A120", 500000U},
					  {"010", 8U},
					  {"fast", 0U}}) {
		parse("speed", "value", text);
		EXPECT_EQ(data()->speed, speed) << text;
	}
	parse("speed", "value", "7");
	parse("speed", "unit", "8");
	EXPECT_EQ(data()->speed, 7U);
}

TEST_F(SpiBackendTest, TheLastPathCounts)
{
	parse("device", "path", "/dev/one");
	parse("device", "path", "/dev/two");
	parse("device", "colour", "red");
	EXPECT_EQ(data()->path, "/dev/two");
}

TEST_F(SpiBackendTest, EachPinHasAnElement)
{
	parse("io_ctrl", "pin", "1");
	parse("sio_ctrl", "pin", "2");
	parse("input", "pin", "3");
	parse("output", "pin", "4");
	EXPECT_EQ(data()->lines.ioctrl->pin, 1);
	EXPECT_EQ(data()->lines.sioctrl->pin, 2);
	EXPECT_EQ(data()->lines.input_pin->pin, 3);
	EXPECT_EQ(data()->lines.output_pin->pin, 4);
}

TEST_F(SpiBackendTest, AnUnknownElementIsIgnored)
{
	parse("io-ctrl", "pin", "1");
	EXPECT_FALSE(data()->lines.ioctrl);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SpiBackendTest, ARangeThatIsRefusedIsWarnedOf)
{
	parse_range("open", "20", "20");
	parse_range("tampered", "20", "30");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to configure port: Invalid range.\n",
				"Failed to configure port: State is "
				"undefined.\n"));
	EXPECT_THAT(port_->supervised_ranges, IsEmpty());
}

// ---- set-up ----

TEST_F(SpiBackendTest, AnInputRequestsItsLinesAndOpensTheConverter)
{
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(
		calls(),
		ElementsAre("ugpio_request_one(1, 0x14d, pin)",
			    "ugpio_full_open(1)", "ugpio_set_activelow(1, 0)",
			    "ugpio_request_one(3, 0x42, pin)",
			    "ugpio_full_open(3)", "ugpio_set_activelow(3, 0)",
			    "ugpio_request_named(sio)", "ugpio_full_open(sio)",
			    "ugpio_set_activelow(sio, 0)",
			    "ugpio_set_value(3, 1)", "ugpio_set_value(sio, 0)",
			    "bits(16)"));
	EXPECT_TRUE(data()->device.is_open());
}

TEST_F(SpiBackendTest, EachRequestWithFlagsIsAnnounced)
{
	parse("input", "alias", "door-in");
	configure(PORT_INPUT);
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_INFO),
		    ElementsAre("Init pin: door-in", "Init pin: (null)"));
	EXPECT_THAT(log_.warnings(), IsEmpty());
}

TEST_F(SpiBackendTest, ASpeedIsSetWhenThereIsOne)
{
	configure(PORT_INPUT);
	parse("speed", "value", "500000");
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(calls(), Contains("speed(500000)"));
}

TEST_F(SpiBackendTest, AnOutputRequestsItsLineOnly)
{
	configure(PORT_OUTPUT);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(calls(), ElementsAre("ugpio_request_one(2, 0x42, pin)",
					 "ugpio_full_open(2)",
					 "ugpio_set_activelow(2, 0)"));
	EXPECT_FALSE(data()->device.is_open());
}

TEST_F(SpiBackendTest, AnInvertedOutputIsRequestedTheOtherWayRound)
{
	configure(PORT_OUTPUT);
	parse("output", "inverted", "true");
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(calls(), ElementsAre("ugpio_request_one(2, 0x40, pin)",
					 "ugpio_full_open(2)",
					 "ugpio_set_activelow(2, 1)"));
}

TEST_F(SpiBackendTest, AConfigurablePortThatIsAnInputStartsItsOutputLow)
{
	configure(PORT_IO_CTRL);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	const auto made = calls();
	EXPECT_THAT(made, Contains("ugpio_request_one(1, 0x14d, pin)"));
	EXPECT_THAT(made, Contains("ugpio_request_one(2, 0x40, pin)"));
	EXPECT_THAT(made, Contains("ugpio_request_one(3, 0x42, pin)"));
}

TEST_F(SpiBackendTest, AConfigurablePortThatIsAnOutputStartsWithItsState)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	const auto made = calls();
	EXPECT_THAT(made, Contains("ugpio_request_one(2, 0x42, pin)"));
	EXPECT_THAT(made, Contains("ugpio_request_one(3, 0x40, pin)"));
	EXPECT_THAT(made, Contains("ugpio_set_value(3, 0)"));
	EXPECT_THAT(made, Contains("ugpio_set_value(sio, 0)"));
}

TEST_F(SpiBackendTest, LinesThatCannotBeHadDoNotFailTheSetUp)
{
	configure(PORT_INPUT);
	fake_ugpio::fail_request("1");
	fake_ugpio::fail_request("3");
	EXPECT_TRUE(functions_->setup(port_.get(), 0));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to allocate pin 1/(null)",
				"Failed to allocate pin 3/(null)",
				"Failed to set gpio pin (null): Bad file "
				"descriptor",
				"Failed to set ioctrl pin"));
	EXPECT_THAT(calls(), Contains("bits(16)"));
}

TEST_F(SpiBackendTest, TheSupervisedPathsLineMustBeHad)
{
	configure(PORT_INPUT);
	fake_ugpio::fail_request("sio");
	EXPECT_FALSE(functions_->setup(port_.get(), 0));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Request for gpio pin sio failed."));
	EXPECT_THAT(calls(), Not(Contains("bits(16)")));
}

TEST_F(SpiBackendTest, TheSupervisedPathsLineIsRequestedByNumberWithoutAName)
{
	configure(PORT_INPUT);
	data()->lines.sioctrl->alias.reset();
	parse("sio_ctrl", "pin", "9");
	EXPECT_TRUE(functions_->setup(port_.get(), 0));
	EXPECT_THAT(calls(), Contains("ugpio_request(9, sioctrl)"));
}

TEST_F(SpiBackendTest, AConfigurablePortWithoutOneOfItsPinsIsRefused)
{
	for (const char *only : {"input", "output"}) {
		port_ = PortRef::adopt(io_port_new());
		io_port_set_backend(port_.get(), BACKEND_SPI);
		port_->type = PORT_IO_CTRL;
		parse(only, "pin", "1");
		EXPECT_FALSE(functions_->setup(port_.get(), 0)) << only;
	}
	const std::string text = "Supervised IO port should have both 'input' "
				 "and 'output' pins.";
	EXPECT_THAT(log_.warnings(), ElementsAre(text, text));
	EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SpiBackendTest, AnInputOrOutputWithBothPinsOrNoneIsRefused)
{
	for (const IOPortType type : {PORT_INPUT, PORT_OUTPUT}) {
		port_ = PortRef::adopt(io_port_new());
		io_port_set_backend(port_.get(), BACKEND_SPI);
		port_->type = type;
		EXPECT_FALSE(functions_->setup(port_.get(), 0));
		parse("input", "pin", "1");
		parse("output", "pin", "2");
		EXPECT_FALSE(functions_->setup(port_.get(), 0));
	}
	const std::string text = "Limited IO port should only have either "
				 "'input' or 'output' pin.";
	EXPECT_THAT(log_.warnings(), ElementsAre(text, text, text, text));
	EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(SpiBackendTest, AConverterThatIsNotThereFailsTheSetUp)
{
	configure(PORT_INPUT);
	parse("device", "path", dir_.file("missing"));
	EXPECT_FALSE(functions_->setup(port_.get(), 0));
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed to open SPI device.",
						 "Failed to open spi device."));
}

TEST_F(SpiBackendTest, AConverterThatRefusesASettingFailsTheSetUp)
{
	configure(PORT_INPUT);
	parse("speed", "value", "1000");
	fake_spi::fail(Call::MAX_SPEED, EINVAL);
	EXPECT_FALSE(functions_->setup(port_.get(), 0));
	fake_spi::fail(Call::BITS_PER_WORD, EINVAL);
	EXPECT_FALSE(functions_->setup(port_.get(), 0));
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed to set max speed.",
						 "Failed to open spi device.",
						 "Failed to set bits per word.",
						 "Failed to open spi device."));
}

TEST_F(SpiBackendTest, AnotherSetUpReleasesWhatTheFirstOneHolds)
{
	configure(PORT_IO_CTRL);
	set_up();
	ASSERT_TRUE(functions_->setup(port_.get(), 0));
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "2", "3", "sio"));
}

TEST_F(SpiBackendDeathTest, ASetUpWithoutALineForTheSupervisedPathIsAnError)
{
	configure(PORT_INPUT);
	data()->lines.sioctrl.reset();
	EXPECT_DEATH(functions_->setup(port_.get(), 0),
		     "data->sioctrl != NULL");
}

TEST_F(SpiBackendDeathTest, ASetUpWithoutARecordIsAnError)
{
	configure(PORT_INPUT);
	functions_->free(port_.get());
	EXPECT_DEATH(functions_->setup(port_.get(), 0), "data != NULL");
}

// ---- control lines ----

TEST_F(SpiBackendTest, TheControlLinesFollowTypeDirectionAndSupervision)
{
	configure(PORT_IO_CTRL);
	set_up();
	struct Row {
		IOPortType type;
		bool input;
		bool supervised;
		int ioctrl;
		int sioctrl;
	};
	for (const Row &row : {Row{PORT_INPUT, true, true, 0, 1},
			       {PORT_INPUT, true, false, 1, 0},
			       {PORT_IO_CTRL, true, true, 0, 1},
			       {PORT_IO_CTRL, true, false, 1, 0},
			       {PORT_IO_CTRL, false, true, 0, 0},
			       {PORT_IO_CTRL, false, false, 0, 0}}) {
		port_->type = row.type;
		port_->direction = row.input;
		port_->supervised = row.supervised;
		EXPECT_TRUE(data()->lines.set_control_pins(port_.get()));
		EXPECT_THAT(calls(), control_lines(row.ioctrl, row.sioctrl));
	}
}

TEST_F(SpiBackendTest, AFailureOfTheFirstControlLineSkipsTheSecond)
{
	configure(PORT_INPUT);
	set_up();
	fake_ugpio::fail("ugpio_set_value", EIO);
	EXPECT_FALSE(data()->lines.set_control_pins(port_.get()));
	EXPECT_THAT(calls(), ElementsAre("ugpio_set_value(3, 1)"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set gpio pin (null): Input/output "
				"error",
				"Failed to set ioctrl pin"));
}

TEST_F(SpiBackendTest, AFailureOfTheSecondControlLineIsWarnedOf)
{
	configure(PORT_INPUT);
	set_up();
	data()->lines.sioctrl->gpio.reset();
	EXPECT_FALSE(data()->lines.set_control_pins(port_.get()));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set gpio pin sio: Bad file "
				"descriptor",
				"Failed to set sioctrl pin"));
}

TEST_F(SpiBackendDeathTest, AnOutputHasNoControlLines)
{
	configure(PORT_OUTPUT);
	set_up();
	EXPECT_DEATH(data()->lines.set_control_pins(port_.get()),
		     "port->type == PORT_INPUT");
}

// ---- plain mode ----

TEST_F(SpiBackendTest, AnUnsupervisedInputReportsEdgesAndIsNotPolled)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());
	EXPECT_EQ(data()->poll_id.id(), 0U);
	fake_ugpio::edge("1");
	while (recorder::count(kChanged) == 0)
		g_main_context_iteration(nullptr, TRUE);
	EXPECT_EQ(recorder::count("message"), 0U);
}

TEST_F(SpiBackendTest, TheStateIsTheRawValueOfTheCurrentLine)
{
	configure(PORT_IO_CTRL);
	set_up();
	fake_ugpio::set_values("1", {1, 0, -1});
	fake_ugpio::set_values("2", {1});
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
	EXPECT_EQ(functions_->get_state(port_.get()), -1);
	port_->direction = false;
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
}

TEST_F(SpiBackendTest, AnOutputIsDriven)
{
	configure(PORT_OUTPUT);
	set_up();
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(calls(), ElementsAre("ugpio_set_value(2, 1)"));
}

TEST_F(SpiBackendTest, AnInputIsNotDriven)
{
	configure(PORT_INPUT);
	set_up();
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(calls(), IsEmpty());
}

// ---- between the modes ----

TEST_F(SpiBackendTest, SupervisionSwitchesTheHardwareAndTheWatch)
{
	configure(PORT_INPUT);
	set_up();
	io_port_set_watch(port_.get());

	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	EXPECT_NE(data()->poll_id.id(), 0U);
	EXPECT_THAT(calls(), control_lines(0, 1));

	EXPECT_TRUE(io_port_set_supervised(port_.get(), false));
	EXPECT_EQ(data()->poll_id.id(), 0U);
	EXPECT_THAT(calls(), control_lines(1, 0));
	fake_ugpio::edge("1");
	while (recorder::count(kChanged) == 0)
		g_main_context_iteration(nullptr, TRUE);
}

TEST_F(SpiBackendTest, SupervisingAnOutputMakesItAnInput)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	set_up();
	EXPECT_TRUE(io_port_set_supervised(port_.get(), true));
	EXPECT_TRUE(port_->direction);
	EXPECT_NE(data()->poll_id.id(), 0U);
	EXPECT_THAT(calls(), Contains("ugpio_set_value(2, 0)"));
}

TEST_F(SpiBackendTest, AnOutputIsInactiveAndItsHardwareDisconnected)
{
	configure(PORT_IO_CTRL);
	port_->supervised = true;
	port_->output_activelow = true;
	set_up();
	io_port_set_watch(port_.get());
	port_->direction = false;
	EXPECT_TRUE(functions_->set_direction(port_.get(), false));
	EXPECT_EQ(data()->poll_id.id(), 0U);
	EXPECT_THAT(calls(), ElementsAre("ugpio_set_value(3, 0)",
					 "ugpio_set_value(sio, 0)",
					 "ugpio_set_value(2, 1)"));
}

TEST_F(SpiBackendTest, AnOutputIsLowBeforeItBecomesAnInput)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	set_up();
	port_->direction = true;
	EXPECT_TRUE(functions_->set_direction(port_.get(), true));
	EXPECT_THAT(calls(), ElementsAre("ugpio_set_value(2, 0)",
					 "ugpio_set_value(3, 1)",
					 "ugpio_set_value(sio, 0)"));
}

// ---- the end ----

TEST_F(SpiBackendTest, NothingIsLeftOfAClosedPort)
{
	supervise();
	const guint poll = data()->poll_id.id();
	io_port_close(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_EQ(g_main_context_find_source_by_id(nullptr, poll), nullptr);
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
}

TEST_F(SpiBackendTest, AClosedPortIsSetUpAgainWithTheRangesItHas)
{
	supervise();
	ASSERT_TRUE(io_port_add_supervised_range(port_.get(), "open", 1, 2,
						 nullptr));
	const auto ranges = port_->supervised_ranges;
	io_port_close(port_.get());
	ASSERT_TRUE(io_port_setup(port_.get()));
	EXPECT_EQ(data()->address, 0x1fU);
	EXPECT_TRUE(std::ranges::equal(port_->supervised_ranges, ranges,
				       [](const auto &a, const auto &b) {
					       return a.state == b.state &&
						      a.lower_limit ==
							      b.lower_limit;
				       }));
}

TEST_F(SpiBackendTest, AClosedPortHasNoStateAndCannotBeMeasured)
{
	supervise();
	functions_->free(port_.get());
	EXPECT_EQ(functions_->get_state(port_.get()), -1);
	functions_->set_state(port_.get(), 1);
	functions_->set_watch(port_.get());
	EXPECT_FALSE(functions_->set_supervised(port_.get(), true));
	EXPECT_FALSE(functions_->set_direction(port_.get(), true));
	SupervisedState state = SUPERVISED_OPEN;
	guint32 level = 0;
	util::Error error;
	EXPECT_FALSE(functions_->get_supervised_readout(port_.get(), &state,
							&level, &error));
	EXPECT_STREQ(error.message(), "Bad file descriptor");
}

} // namespace
