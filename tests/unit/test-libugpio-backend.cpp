#include "gpio-fixture.h"

#include <cerrno>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using GpioBackendTest = GpioTest;
using GpioBackendDeathTest = GpioTest;

std::string precondition(const std::string &call)
{
	return "libugpio_port_setup: assertion '" + call + "' failed";
}

// ---- the table and the configuration ----

TEST_F(GpioBackendTest, OffersNoSupervisionAndNoClose)
{
	EXPECT_EQ(functions_->is_supervisable, nullptr);
	EXPECT_EQ(functions_->set_supervised, nullptr);
	EXPECT_EQ(functions_->get_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->set_supervised_ranges, nullptr);
	EXPECT_EQ(functions_->get_supervised_readout, nullptr);
	EXPECT_EQ(functions_->close, nullptr);
}

TEST_F(GpioBackendTest, EachGroupHasALineOfItsOwn)
{
	EXPECT_EQ(data()->input_pin, nullptr);
	EXPECT_EQ(data()->output_pin, nullptr);
	EXPECT_EQ(data()->io_ctrl_pin, nullptr);
	parse("input", "pin", "1");
	parse("output", "pin", "2");
	parse("io_ctrl", "pin", "3");
	EXPECT_EQ(data()->input_pin->pin, 1);
	EXPECT_EQ(data()->output_pin->pin, 2);
	EXPECT_EQ(data()->io_ctrl_pin->pin, 3);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(GpioBackendTest, AnotherGroupIsRefusedWithAWarning)
{
	for (const char *group : {"io-ctrl", "Input", "device", ""}) {
		log_.clear();
		EXPECT_FALSE(
			functions_->parse_data(port_.get(), group, "pin", "1"));
		EXPECT_THAT(log_.warnings(),
			    ElementsAre("Could not parse backend data!\n"));
	}
	EXPECT_EQ(data()->io_ctrl_pin, nullptr);
}

TEST_F(GpioBackendTest, AnItemMakesTheRecordWhenThereIsNone)
{
	functions_->free(port_.get());
	functions_->parse_data(port_.get(), "input", "pin", "1");
	ASSERT_NE(port_->backend_data, nullptr);
	EXPECT_EQ(data()->input_pin->pin, 1);
}

// ---- set-up ----

TEST_F(GpioBackendTest, AnInputRequestsItsLine)
{
	configure(PORT_INPUT);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(calls(), ElementsAre("ugpio_request_one(1, 0x14d, pin)",
					 "ugpio_full_open(1)",
					 "ugpio_set_activelow(1, 0)"));
}

TEST_F(GpioBackendTest, AnOutputStartsWithTheGivenLevel)
{
	configure(PORT_OUTPUT);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(calls(), ElementsAre("ugpio_request_one(2, 0x42, pin)",
					 "ugpio_full_open(2)",
					 "ugpio_set_activelow(2, 0)",
					 "ugpio_set_value(2, 1)"));
}

TEST_F(GpioBackendTest, AConfigurablePortStartsAsAnInputWithItsOutputLow)
{
	configure(PORT_IO_CTRL);
	port_->direction = true;
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(
		calls(),
		ElementsAre(
			"ugpio_request_one(1, 0x14d, pin)",
			"ugpio_full_open(1)", "ugpio_set_activelow(1, 0)",
			"ugpio_request_one(2, 0x40, pin)", "ugpio_full_open(2)",
			"ugpio_set_activelow(2, 0)", "ugpio_set_value(2, 0)",
			"ugpio_request_one(3, 0x40, pin)", "ugpio_full_open(3)",
			"ugpio_set_activelow(3, 0)", "ugpio_set_value(3, 0)"));
}

TEST_F(GpioBackendTest, AConfigurablePortStartsAsAnOutputWithTheGivenLevel)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_EQ(recorder::count("ugpio_request_one(1, 0x14d"), 1U);
	EXPECT_EQ(recorder::count("ugpio_request_one(2, 0x42"), 1U);
	EXPECT_EQ(recorder::count("ugpio_request_one(3, 0x42"), 1U);
}

TEST_F(GpioBackendTest, AnUnknownTypeRequestsNothing)
{
	port_->type = static_cast<IOPortType>(3);
	EXPECT_TRUE(functions_->setup(port_.get(), 1));
	EXPECT_THAT(calls(), IsEmpty());
}

struct Failure {
	const char *name;
	IOPortType type;
	const char *line;
	const char *call;
	std::vector<std::string> held;
};

class GpioFailureTest : public GpioTest,
			public testing::WithParamInterface<Failure>
{
};

TEST_P(GpioFailureTest, EndsTheSetUpAndKeepsWhatWasRequested)
{
	configure(GetParam().type);
	fake_ugpio::fail_request(GetParam().line);
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre(precondition(GetParam().call)));
	EXPECT_EQ(fake_ugpio::held(), GetParam().held);
	EXPECT_FALSE(port_->is_setup);
}

INSTANTIATE_TEST_SUITE_P(
	Requests, GpioFailureTest,
	testing::Values(
		Failure{"Input",
			PORT_INPUT,
			"1",
			"libugpio_port_init_gpio_pin (data->input_pin, TRUE, "
			"FALSE)",
			{}},
		Failure{"Output",
			PORT_OUTPUT,
			"2",
			"libugpio_port_init_gpio_pin (data->output_pin, FALSE, "
			"state)",
			{}},
		Failure{"ConfigurableInput",
			PORT_IO_CTRL,
			"1",
			"libugpio_port_init_gpio_pin (data->input_pin, TRUE, "
			"FALSE)",
			{}},
		Failure{"ConfigurableOutput",
			PORT_IO_CTRL,
			"2",
			"libugpio_port_init_gpio_pin (data->output_pin, FALSE, "
			"io_port_direction_input (port) ? FALSE : state)",
			{"1"}},
		Failure{"IoCtrl",
			PORT_IO_CTRL,
			"3",
			"libugpio_port_init_gpio_pin (data->io_ctrl_pin, "
			"FALSE, io_port_direction_input (port) ? 0 : 1)",
			{"1", "2"}}),
	[](const auto &instance) { return instance.param.name; });

TEST_F(GpioBackendTest, ALineThatIsNotConfiguredEndsTheSetUp)
{
	port_->type = PORT_INPUT;
	parse("output", "pin", "2");
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_THAT(calls(), IsEmpty());
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
}

TEST_F(GpioBackendTest, ASetUpAfterAFailureGivesTheLinesBackFirst)
{
	configure(PORT_IO_CTRL);
	fake_ugpio::fail_request("3");
	EXPECT_FALSE(io_port_setup(port_.get()));
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "2", "3"));
}

TEST_F(GpioBackendTest, ASetUpAfterACloseRequestsTheSameLines)
{
	configure_and_set_up(PORT_IO_CTRL);
	io_port_close(port_.get());
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_EQ(functions_->get_state(port_.get()), -1);
	EXPECT_TRUE(io_port_setup(port_.get()));
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "2", "3"));
}

TEST_F(GpioBackendDeathTest, ASetUpWithoutARecordIsAProgrammingError)
{
	functions_->free(port_.get());
	EXPECT_DEATH(functions_->setup(port_.get(), 0),
		     "libugpio-backend.c.*data != NULL");
}

// ---- state ----

TEST_F(GpioBackendTest, TheStateIsTheLinesThatThePortIsOn)
{
	configure_and_set_up(PORT_IO_CTRL);
	fake_ugpio::set_values("1", {1});
	fake_ugpio::set_values("2", {0});
	port_->direction = true;
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
	port_->direction = false;
	EXPECT_EQ(functions_->get_state(port_.get()), 0);
}

TEST_F(GpioBackendTest, AnOutputReadsItsLineBack)
{
	configure_and_set_up(PORT_OUTPUT);
	fake_ugpio::set_values("2", {1});
	EXPECT_EQ(functions_->get_state(port_.get()), 1);
	EXPECT_THAT(calls(), ElementsAre("ugpio_get_value(2)"));
}

TEST_F(GpioBackendTest, AnyValueButZeroReadsAsOne)
{
	configure_and_set_up(PORT_INPUT);
	fake_ugpio::set_values("1", {0, 1, 2, -1});
	for (const int expected : {0, 1, 1, 1})
		EXPECT_EQ(functions_->get_state(port_.get()), expected);
}

TEST_F(GpioBackendTest, AnOutputIsDriven)
{
	configure_and_set_up(PORT_OUTPUT);
	functions_->set_state(port_.get(), 1);
	functions_->set_state(port_.get(), 0);
	EXPECT_THAT(calls(), ElementsAre("ugpio_set_value(2, 1)",
					 "ugpio_set_value(2, 0)"));
}

TEST_F(GpioBackendTest, AnOutputThatCannotBeDrivenIsWarnedOf)
{
	configure_and_set_up(PORT_OUTPUT);
	fake_ugpio::fail("ugpio_set_value", EIO);
	functions_->set_state(port_.get(), 1);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set state on port!\n"));
}

TEST_F(GpioBackendDeathTest, DrivingWithoutAnOutputIsAProgrammingError)
{
	configure_and_set_up(PORT_INPUT);
	EXPECT_DEATH(functions_->set_state(port_.get(), 1),
		     "libugpio-backend.c.*pin != NULL");
}

// ---- direction ----

TEST_F(GpioBackendTest, TheOutputIsLowBeforeThePortBecomesAnInput)
{
	configure_and_set_up(PORT_IO_CTRL);
	functions_->set_direction(port_.get(), true);
	EXPECT_THAT(calls(), ElementsAre("ugpio_set_value(2, 0)",
					 "ugpio_set_value(3, 0)"));
}

TEST_F(GpioBackendTest, ThePortBecomesAnOutputBeforeItsLineIsDrivenInactive)
{
	configure_and_set_up(PORT_IO_CTRL);
	for (const bool activelow : {false, true}) {
		port_->output_activelow = activelow;
		functions_->set_direction(port_.get(), false);
		EXPECT_THAT(calls(),
			    ElementsAre("ugpio_set_value(3, 1)",
					activelow ? "ugpio_set_value(2, "
						    "1)"
						  : "ugpio_set_value(2, "
						    "0)"));
	}
}

TEST_F(GpioBackendTest, ADirectionThatCannotBeSwitchedIsWarnedOfAndGoneOnWith)
{
	configure_and_set_up(PORT_IO_CTRL);
	fake_ugpio::fail("ugpio_set_value", EIO);
	functions_->set_direction(port_.get(), false);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set gpio pin (null): Input/output "
				"error",
				"Couldn't change direction on port!\n",
				"Failed to set state on port!\n"));
}

TEST_F(GpioBackendTest, AClosedPortHasNoDirectionToChange)
{
	configure_and_set_up(PORT_IO_CTRL);
	functions_->free(port_.get());
	calls();
	EXPECT_FALSE(functions_->set_direction(port_.get(), true));
	EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(GpioBackendTest, AChangeOfDirectionEndsTheWatch)
{
	configure_and_set_up(PORT_IO_CTRL);
	functions_->set_watch(port_.get());
	EXPECT_NE(data()->watch.id(), 0U);
	functions_->set_direction(port_.get(), false);
	EXPECT_EQ(data()->watch.id(), 0U);
}

// ---- the end ----

TEST_F(GpioBackendTest, FreeingGivesEveryLineBackAndEndsTheWatch)
{
	configure_and_set_up(PORT_IO_CTRL);
	functions_->set_watch(port_.get());
	const guint watch = data()->watch.id();
	functions_->free(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
	EXPECT_EQ(g_main_context_find_source_by_id(nullptr, watch), nullptr);
	EXPECT_THAT(calls(), ElementsAre("ugpio_close(1)", "ugpio_free(1)",
					 "ugpio_close(2)", "ugpio_free(2)",
					 "ugpio_close(3)", "ugpio_free(3)"));
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
	functions_->free(port_.get());
}

} // namespace
