#include "backends/libugpio-utils.h"

#include "fakes/fake-ugpio.h"
#include "fakes/recorder.h"
#include "log-capture.h"

#include <gmock/gmock.h>

#include <cerrno>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class GpioPinTest : public testing::Test
{
protected:
	GpioPinTest()
	{
		fake_ugpio::reset();
		recorder::reset();
	}
	void parse(const char *key, const char *value)
	{
		libugpio_parse_data_pin(pin_, key, value);
	}
	bool init(bool is_input, bool state)
	{
		return libugpio_port_init_gpio_pin(pin_.get(), is_input, state);
	}

	LogCapture log_;
	GpioPinPtr pin_;
};

using GpioPinDeathTest = GpioPinTest;

// ---- configuration ----

TEST_F(GpioPinTest, AnyKeyMakesTheRecordWithItsDefaults)
{
	parse("colour", "red");
	ASSERT_TRUE(pin_);
	EXPECT_EQ(pin_->pin, 0);
	EXPECT_EQ(pin_->alias, std::nullopt);
	EXPECT_EQ(pin_->inverted, 0);
	EXPECT_EQ(pin_->gpio, nullptr);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(GpioPinTest, TheNumberIsDecimal)
{
	for (const auto &[text, number] : {std::pair("17", 17),
					   {"017", 17},
					   {"0x11", 0},
					   {"-3", -3},
					   {"seventeen", 0},
					   {"", 0},
					   {"5x", 5}}) {
		parse("pin", text);
		EXPECT_EQ(pin_->pin, number) << text;
	}
}

TEST_F(GpioPinTest, TheLastAliasCounts)
{
	parse("alias", "siren");
	parse("alias", "horn");
	EXPECT_EQ(pin_->alias, "horn");
}

TEST_F(GpioPinTest, OnlyTrueInverts)
{
	parse("inverted", "true");
	EXPECT_EQ(pin_->inverted, 1);
	for (const char *other : {"TRUE", "True", "1", "yes", "", "false"}) {
		parse("inverted", "true");
		parse("inverted", other);
		EXPECT_EQ(pin_->inverted, 0) << other;
	}
}

// ---- requests ----

TEST_F(GpioPinTest, AnInputIsRequestedAndOpened)
{
	parse("pin", "17");
	EXPECT_TRUE(init(true, false));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_request_one(17, 0x14d, pin)",
				"ugpio_full_open(17)",
				"ugpio_set_activelow(17, 0)"));
}

TEST_F(GpioPinTest, AnInvertedInputIsRequestedAsAnyAndActiveLow)
{
	parse("pin", "17");
	parse("inverted", "true");
	EXPECT_TRUE(init(true, true));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_request_one(17, 0x14d, pin)",
				"ugpio_full_open(17)",
				"ugpio_set_activelow(17, 1)"));
}

struct Output {
	const char *name;
	const char *inverted;
	bool state;
	const char *flags;
	const char *active_low;
	const char *value;
};

class GpioOutputTest : public GpioPinTest,
		       public testing::WithParamInterface<Output>
{
};

TEST_P(GpioOutputTest, StartsWithItsLevelWrittenTwice)
{
	const Output &output = GetParam();
	parse("pin", "22");
	parse("inverted", output.inverted);
	EXPECT_TRUE(init(false, output.state));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre(std::string("ugpio_request_one(22, ") +
					output.flags + ", pin)",
				"ugpio_full_open(22)",
				std::string("ugpio_set_activelow(22, ") +
					output.active_low + ")",
				std::string("ugpio_set_value(22, ") +
					output.value + ")"));
}

INSTANTIATE_TEST_SUITE_P(
	Levels, GpioOutputTest,
	testing::Values(Output{"Low", "false", false, "0x40", "0", "0"},
			Output{"High", "false", true, "0x42", "0", "1"},
			Output{"InvertedLow", "true", false, "0x42", "1", "1"},
			Output{"InvertedHigh", "true", true, "0x40", "1", "0"}),
	[](const auto &instance) { return instance.param.name; });

TEST_F(GpioPinTest, ALineWithAnAliasIsRequestedByName)
{
	parse("pin", "17");
	parse("alias", "siren");
	EXPECT_TRUE(init(false, true));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_request_one_named(siren, 0x42)",
				"ugpio_full_open(siren)",
				"ugpio_set_activelow(siren, 0)",
				"ugpio_set_value(siren, 1)"));
}

TEST_F(GpioPinTest, ARequestThatFailsIsWarnedOf)
{
	parse("pin", "17");
	fake_ugpio::fail_request("17");
	EXPECT_FALSE(init(true, false));
	EXPECT_EQ(pin_->gpio, nullptr);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to allocate pin 17/(null)"));
	log_.clear();
	parse("alias", "door");
	fake_ugpio::fail_request("door");
	EXPECT_FALSE(init(true, false));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to allocate pin 17/door"));
}

TEST_F(GpioPinTest, ALineThatCannotBeOpenedStaysRequested)
{
	parse("pin", "17");
	fake_ugpio::fail("ugpio_full_open", EACCES);
	EXPECT_FALSE(init(false, true));
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed to open pin fd!"));
	EXPECT_NE(pin_->gpio, nullptr);
	EXPECT_EQ(recorder::count("ugpio_set"), 0U);
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("17"));
}

TEST_F(GpioPinTest, ALineThatCannotBeActiveLowStaysRequested)
{
	parse("pin", "17");
	fake_ugpio::fail("ugpio_set_activelow", EIO);
	EXPECT_FALSE(init(false, true));
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed set active low!"));
	EXPECT_EQ(recorder::count("ugpio_set_value"), 0U);
	EXPECT_THAT(fake_ugpio::held(), ElementsAre("17"));
}

TEST_F(GpioPinTest, AFirstLevelThatCannotBeWrittenIsNotFatal)
{
	parse("pin", "17");
	fake_ugpio::fail("ugpio_set_value", EIO);
	EXPECT_TRUE(init(false, true));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set state on port!\n"));
}

TEST_F(GpioPinTest, ASecondRequestGivesTheFirstOneBackBefore)
{
	parse("pin", "17");
	init(true, false);
	recorder::reset();
	EXPECT_TRUE(init(true, false));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_close(17)", "ugpio_free(17)",
				"ugpio_request_one(17, 0x14d, pin)",
				"ugpio_full_open(17)",
				"ugpio_set_activelow(17, 0)"));
}

TEST_F(GpioPinTest, WithoutARecordNothingCanBeRequested)
{
	EXPECT_FALSE(init(true, false));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- levels ----

TEST_F(GpioPinTest, ALevelIsWritten)
{
	parse("pin", "17");
	init(false, false);
	recorder::reset();
	EXPECT_TRUE(libugpio_set_gpio_pin(pin_.get(), 1));
	EXPECT_TRUE(libugpio_set_gpio_pin(pin_.get(), 0));
	EXPECT_THAT(recorder::calls(), ElementsAre("ugpio_set_value(17, 1)",
						   "ugpio_set_value(17, 0)"));
}

TEST_F(GpioPinTest, AWriteThatFailsIsWarnedOf)
{
	parse("pin", "17");
	parse("alias", "siren");
	init(false, false);
	fake_ugpio::fail("ugpio_set_value", EPERM);
	EXPECT_FALSE(libugpio_set_gpio_pin(pin_.get(), 1));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set gpio pin siren: Operation not "
				"permitted"));
}

TEST_F(GpioPinTest, ALineThatIsNotRequestedCannotBeWritten)
{
	parse("pin", "17");
	EXPECT_FALSE(libugpio_set_gpio_pin(pin_.get(), 1));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set gpio pin (null): Bad file "
				"descriptor"));
}

TEST_F(GpioPinDeathTest, WritingWithoutARecordIsAProgrammingError)
{
	EXPECT_DEATH(libugpio_set_gpio_pin(nullptr, 1),
		     "libugpio-utils.c.*pin != NULL");
}

TEST_F(GpioPinTest, ALineIsRead)
{
	parse("pin", "17");
	EXPECT_EQ(libugpio_get_gpio_pin(nullptr), -1);
	EXPECT_EQ(libugpio_get_gpio_pin(pin_.get()), -1);
	init(true, false);
	fake_ugpio::set_values("17", {1, 0});
	EXPECT_EQ(libugpio_get_gpio_pin(pin_.get()), 1);
	EXPECT_EQ(libugpio_get_gpio_pin(pin_.get()), 0);
}

// ---- the end ----

TEST_F(GpioPinTest, ClosingGivesTheLineBackAndKeepsTheRecord)
{
	parse("pin", "17");
	parse("alias", "siren");
	init(false, false);
	recorder::reset();
	libugpio_close_gpio_pin(pin_.get());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_close(siren)", "ugpio_free(siren)"));
	EXPECT_EQ(pin_->gpio, nullptr);
	EXPECT_EQ(pin_->alias, "siren");
	libugpio_close_gpio_pin(pin_.get());
	EXPECT_THAT(fake_ugpio::held(), IsEmpty());
}

TEST_F(GpioPinTest, FreeingDropsTheRecordToo)
{
	parse("pin", "17");
	init(false, false);
	recorder::reset();
	libugpio_free_gpio_pin(pin_);
	EXPECT_EQ(pin_, nullptr);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_close(17)", "ugpio_free(17)"));
}

TEST_F(GpioPinTest, NothingIsClosedOrFreedWithoutARecord)
{
	libugpio_close_gpio_pin(nullptr);
	libugpio_free_gpio_pin(pin_);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- a line as it is ----

TEST_F(GpioPinTest, ALineIsRequestedAsItIsByNumber)
{
	parse("pin", "9");
	parse("inverted", "true");
	EXPECT_TRUE(libugpio_request_gpio_pin_as_it_is(pin_.get(), "sioctrl"));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_request(9, sioctrl)",
				"ugpio_full_open(9)",
				"ugpio_set_activelow(9, 1)"));
}

TEST_F(GpioPinTest, ALineIsRequestedAsItIsByName)
{
	parse("alias", "guard");
	EXPECT_TRUE(libugpio_request_gpio_pin_as_it_is(pin_.get(), "sioctrl"));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_request_named(guard)",
				"ugpio_full_open(guard)",
				"ugpio_set_activelow(guard, 0)"));
}

TEST_F(GpioPinTest, EachFaultOfALineAsItIsIsWarnedOf)
{
	parse("alias", "guard");
	fake_ugpio::fail_request("guard");
	EXPECT_FALSE(libugpio_request_gpio_pin_as_it_is(pin_.get(), "sioctrl"));
	fake_ugpio::fail("ugpio_full_open", EIO);
	EXPECT_FALSE(libugpio_request_gpio_pin_as_it_is(pin_.get(), "sioctrl"));
	fake_ugpio::fail("ugpio_full_open", 0);
	fake_ugpio::fail("ugpio_set_activelow", EIO);
	EXPECT_FALSE(libugpio_request_gpio_pin_as_it_is(pin_.get(), "sioctrl"));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Request for gpio pin guard failed.",
				"Failed to open gpio pin guard\n",
				"Failed set active low!"));
}

TEST_F(GpioPinDeathTest, ALineAsItIsWithoutARecordIsAnError)
{
	EXPECT_DEATH(libugpio_request_gpio_pin_as_it_is(nullptr, "sioctrl"),
		     "pin != NULL");
}

TEST_F(GpioPinTest, ARequestAloneDoesNotWriteTheFirstLevel)
{
	parse("pin", "9");
	EXPECT_TRUE(libugpio_request_gpio_pin(pin_.get(), false, true));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("ugpio_request_one(9, 0x42, pin)",
				"ugpio_full_open(9)",
				"ugpio_set_activelow(9, 0)"));
}

} // namespace
