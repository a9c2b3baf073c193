#include "backends/supervised-lines.h"

#include "fakes/fake-ugpio.h"
#include "fakes/recorder.h"
#include "ioport/port-seam.h"
#include "log-capture.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// The numbers of the lines are 1, of the input, 2, of the output, 3, of the
/// plain path, and 4, of the supervised path.
class SupervisedLinesTest : public testing::Test
{
protected:
	SupervisedLinesTest()
	{
		fake_ugpio::reset();
		recorder::reset();
		io_port_set_backend(port_.get(), BACKEND_IIO);
	}
	/// All that a port of that type needs.
	void configure(IOPortType type)
	{
		port_->type = type;
		if (type != PORT_OUTPUT)
			parse("input", "1");
		if (type != PORT_INPUT)
			parse("output", "2");
		parse("io_ctrl", "3");
		parse("sio_ctrl", "4");
	}
	void parse(const char *element, const char *number)
	{
		EXPECT_TRUE(lines_.parse(element, "pin", number));
	}
	bool set_up(bool state = false)
	{
		return lines_.set_up(port_.get(), state, how_);
	}
	/// Who complained of which call; after that, nothing was done.
	void expect_refused(const std::string &call)
	{
		EXPECT_FALSE(set_up());
		EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL),
			    ElementsAre("some_setup: assertion '" + call +
					"' failed"));
	}
	/// The recorded calls of that kind.
	static std::vector<std::string> calls(const std::string &kind)
	{
		auto found = recorder::calls();
		std::erase_if(found, [&](const std::string &call) {
			return !call.starts_with(kind);
		});
		return found;
	}

	LogCapture log_;
	PortRef port_ = PortRef::adopt(io_port_new());
	SupervisedLines lines_;
	SupervisedSetUp how_ = {
		.function = "some_setup",
		.control_call = "set_them (port)",
	};
};

using SupervisedLinesDeathTest = SupervisedLinesTest;

TEST_F(SupervisedLinesTest, AnInputHasItsLineAndBothControlLines)
{
	configure(PORT_INPUT);
	EXPECT_TRUE(set_up(true));
	EXPECT_THAT(calls("ugpio_request"),
		    ElementsAre("ugpio_request_one(1, 0x14d, pin)",
				"ugpio_request_one(3, 0x42, pin)",
				"ugpio_request(4, sioctrl)"));
	EXPECT_THAT(calls("ugpio_set_value"),
		    ElementsAre("ugpio_set_value(3, 1)",
				"ugpio_set_value(3, 1)",
				"ugpio_set_value(4, 0)"));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(SupervisedLinesTest, AnOutputHasItsLineOnly)
{
	configure(PORT_OUTPUT);
	EXPECT_TRUE(set_up(true));
	EXPECT_THAT(calls("ugpio_request"),
		    ElementsAre("ugpio_request_one(2, 0x42, pin)"));
	EXPECT_TRUE(set_up(false));
	EXPECT_THAT(calls("ugpio_request").back(),
		    "ugpio_request_one(2, 0x40, pin)");
}

TEST_F(SupervisedLinesTest, AConfigurableInputStartsItsOutputLow)
{
	configure(PORT_IO_CTRL);
	EXPECT_TRUE(set_up(true));
	EXPECT_THAT(calls("ugpio_request"),
		    ElementsAre("ugpio_request_one(1, 0x14d, pin)",
				"ugpio_request_one(2, 0x40, pin)",
				"ugpio_request_one(3, 0x42, pin)",
				"ugpio_request(4, sioctrl)"));
}

TEST_F(SupervisedLinesTest, AConfigurableOutputStartsWithItsState)
{
	configure(PORT_IO_CTRL);
	port_->direction = false;
	EXPECT_TRUE(set_up(true));
	EXPECT_THAT(calls("ugpio_request"),
		    ElementsAre("ugpio_request_one(1, 0x14d, pin)",
				"ugpio_request_one(2, 0x42, pin)",
				"ugpio_request_one(3, 0x40, pin)",
				"ugpio_request(4, sioctrl)"));
	EXPECT_THAT(
		calls("ugpio_set_value"),
		ElementsAre("ugpio_set_value(2, 1)", "ugpio_set_value(3, 0)",
			    "ugpio_set_value(3, 0)", "ugpio_set_value(4, 0)"));
}

TEST_F(SupervisedLinesTest, ASupervisedInputTakesTheSupervisedPath)
{
	configure(PORT_INPUT);
	port_->supervised = true;
	EXPECT_TRUE(set_up());
	EXPECT_THAT(calls("ugpio_set_value"),
		    ElementsAre("ugpio_set_value(3, 1)",
				"ugpio_set_value(3, 0)",
				"ugpio_set_value(4, 1)"));
}

TEST_F(SupervisedLinesTest, APullUpKeepsThePlainPathOn)
{
	configure(PORT_INPUT);
	port_->supervised = true;
	how_.pull_up = true;
	EXPECT_TRUE(set_up());
	EXPECT_THAT(calls("ugpio_set_value"),
		    ElementsAre("ugpio_set_value(3, 1)",
				"ugpio_set_value(3, 1)",
				"ugpio_set_value(4, 1)"));
}

TEST_F(SupervisedLinesTest, AnOptionalLineMayBeMissing)
{
	configure(PORT_INPUT);
	lines_.sioctrl.reset();
	how_.sioctrl_is_optional = true;
	EXPECT_TRUE(set_up());
	EXPECT_THAT(
		calls("ugpio_set_value"),
		ElementsAre("ugpio_set_value(3, 1)", "ugpio_set_value(3, 1)"));
}

TEST_F(SupervisedLinesTest, AnOptionalLineThatIsThereMustBeHad)
{
	configure(PORT_INPUT);
	how_.sioctrl_is_optional = true;
	fake_ugpio::fail_request("4");
	EXPECT_FALSE(set_up());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Request for gpio pin (null) failed."));
}

TEST_F(SupervisedLinesTest, AConfigurablePortNeedsBothLines)
{
	port_->type = PORT_IO_CTRL;
	EXPECT_FALSE(set_up());
	parse("input", "1");
	EXPECT_FALSE(set_up());
	lines_.input_pin.reset();
	parse("output", "2");
	EXPECT_FALSE(set_up());
	const std::string text = "Supervised IO port should have both 'input' "
				 "and 'output' pins.";
	EXPECT_THAT(log_.warnings(), ElementsAre(text, text, text));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SupervisedLinesTest, AnyOtherPortNeedsExactlyOne)
{
	for (const IOPortType type : {PORT_INPUT, PORT_OUTPUT}) {
		SupervisedLines lines;
		port_->type = type;
		EXPECT_FALSE(lines.set_up(port_.get(), false, how_));
		lines.parse("input", "pin", "1");
		lines.parse("output", "pin", "2");
		EXPECT_FALSE(lines.set_up(port_.get(), false, how_));
	}
	const std::string text = "Limited IO port should only have either "
				 "'input' or 'output' pin.";
	EXPECT_THAT(log_.warnings(), ElementsAre(text, text, text, text));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SupervisedLinesTest, TheOneLineMustBeTheRightOne)
{
	port_->type = PORT_INPUT;
	parse("output", "2");
	expect_refused(
		"libugpio_port_init_gpio_pin (data->input, TRUE, FALSE)");
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

TEST_F(SupervisedLinesTest, AnInputThatCannotBeHadEndsTheSetUp)
{
	configure(PORT_IO_CTRL);
	fake_ugpio::fail_request("1");
	expect_refused(
		"libugpio_port_init_gpio_pin (data->input, TRUE, FALSE)");
	EXPECT_THAT(calls("ugpio_request"),
		    ElementsAre("ugpio_request_one(1, 0x14d, pin)"));
}

TEST_F(SupervisedLinesTest, AnOutputThatCannotBeHadEndsTheSetUp)
{
	configure(PORT_IO_CTRL);
	fake_ugpio::fail_request("2");
	expect_refused("libugpio_port_init_gpio_pin (data->output, FALSE, "
		       "io_port_direction_input (port) ? FALSE : state)");
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1"));
}

TEST_F(SupervisedLinesTest, AMissingPlainPathEndsTheSetUp)
{
	configure(PORT_INPUT);
	lines_.ioctrl.reset();
	expect_refused("libugpio_port_init_gpio_pin (data->ioctrl, FALSE, "
		       "io_port_direction_input (port) ? 1 : 0)");
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1"));
}

TEST_F(SupervisedLinesTest, TheSupervisedPathHasMessagesOfItsOwn)
{
	configure(PORT_INPUT);
	lines_.parse("sio_ctrl", "alias", "sio");
	fake_ugpio::fail_request("sio");
	EXPECT_FALSE(set_up());
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Request for gpio pin sio failed."));
	EXPECT_THAT(log_.texts(G_LOG_LEVEL_CRITICAL), IsEmpty());
	EXPECT_THAT(recorder::calls(),
		    Not(Contains(StartsWith("ugpio_full_open(sio"))));
}

TEST_F(SupervisedLinesTest, ControlLinesThatCannotBeDrivenEndTheSetUp)
{
	configure(PORT_INPUT);
	fake_ugpio::fail("ugpio_set_value", EIO);
	expect_refused("set_them (port)");
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set state on port!\n",
				"Failed to set gpio pin (null): Input/output "
				"error",
				"Failed to set ioctrl pin"));
}

TEST_F(SupervisedLinesTest, AnotherSetUpHoldsNoMoreThanTheFirst)
{
	configure(PORT_IO_CTRL);
	EXPECT_TRUE(set_up());
	EXPECT_TRUE(set_up());
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("1", "2", "3", "4"));
	lines_.release();
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
}

TEST_F(SupervisedLinesDeathTest, ALineThatIsNotOptionalIsNeeded)
{
	configure(PORT_INPUT);
	lines_.sioctrl.reset();
	EXPECT_DEATH(set_up(), "data->sioctrl != NULL");
}

} // namespace
