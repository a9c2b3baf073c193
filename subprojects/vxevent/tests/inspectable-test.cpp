#include "declaration.h"
#include "error-holder.h"
#include "event.h"
#include "temp-dir.h"
#include "test-handles.h"

#include <clocale>
#include <cstdlib>

using namespace vxevent;

namespace
{

// A declaration with a key of each type, none with a value, and an event on it.
class InspectableTest : public testing::Test
{
protected:
	InspectableTest()
	{
		auto &keys = declaration_->inspectable;
		keys.add_key("int", EVENT_VALUE_INT, nullptr);
		keys.add_key("bool", EVENT_VALUE_BOOL, nullptr);
		keys.add_key("double", EVENT_VALUE_DOUBLE, nullptr);
		keys.add_key("string", EVENT_VALUE_STRING, nullptr);
		event_ = std::make_unique<Event>(1, declaration_);
	}

	bool set_text(const char *key, EventValueType type, const char *text)
	{
		return inspectable_set_value_as_string(
			event_get_inspectable(event_.get()), key, type, text,
			&error_);
	}
	bool set(const char *key, EventValueType type, gconstpointer value)
	{
		return event_set_value(event_.get(), key, type, value, &error_);
	}
	std::string values() const
	{
		return text_of(variant_of(event_->inspectable.values()));
	}

	const std::shared_ptr<EventDeclaration> declaration_ =
		std::make_shared<EventDeclaration>();
	std::unique_ptr<Event> event_;
	ErrorHolder error_;
};

TEST_F(InspectableTest, TakesAValueOfEachTypeFromAPointer)
{
	const gint32 number = -7;
	const gboolean yes = 5;
	const gdouble fraction = 0.25;
	EXPECT_TRUE(set("int", EVENT_VALUE_INT, &number));
	EXPECT_TRUE(set("bool", EVENT_VALUE_BOOL, &yes));
	EXPECT_TRUE(set("double", EVENT_VALUE_DOUBLE, &fraction));
	EXPECT_TRUE(set("string", EVENT_VALUE_STRING, "door"));
	EXPECT_FALSE(error_.is_set());
	EXPECT_EQ(values(), "{'bool': <true>, 'double': <0.25>, "
			    "'int': <-7>, 'string': <'door'>}");
}

TEST_F(InspectableTest, TakesAValueOfEachTypeFromAText)
{
	EXPECT_TRUE(set_text("int", EVENT_VALUE_INT, "-2147483648"));
	EXPECT_TRUE(set_text("bool", EVENT_VALUE_BOOL, "1"));
	EXPECT_TRUE(set_text("double", EVENT_VALUE_DOUBLE, "-2.5e1"));
	EXPECT_TRUE(set_text("string", EVENT_VALUE_STRING, ""));
	EXPECT_EQ(values(), "{'bool': <true>, 'double': <-25.0>, "
			    "'int': <-2147483648>, 'string': <''>}");
}

TEST_F(InspectableTest, KeepsTheLastValueSet)
{
	EXPECT_TRUE(set_text("bool", EVENT_VALUE_BOOL, "true"));
	EXPECT_TRUE(set_text("bool", EVENT_VALUE_BOOL, "false"));
	EXPECT_TRUE(set_text("int", EVENT_VALUE_INT, "2147483647"));
	EXPECT_EQ(values(), "{'bool': <false>, 'int': <2147483647>}");
}

struct BadText {
	const char *key;
	EventValueType type;
	const char *text;
};

class InspectableBadText : public InspectableTest,
			   public testing::WithParamInterface<BadText>
{
};

TEST_P(InspectableBadText, IsRefusedAndLeavesTheValue)
{
	const auto &bad = GetParam();
	EXPECT_FALSE(set_text(bad.key, bad.type, bad.text));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_EQ(values(), "{}");
}

INSTANTIATE_TEST_SUITE_P(
	Integers, InspectableBadText,
	testing::Values(BadText{"int", EVENT_VALUE_INT, ""},
			BadText{"int", EVENT_VALUE_INT, " 1"},
			BadText{"int", EVENT_VALUE_INT, "1 "},
			BadText{"int", EVENT_VALUE_INT, "1x"},
			BadText{"int", EVENT_VALUE_INT, "0x10"},
			BadText{"int", EVENT_VALUE_INT, "1.0"},
			BadText{"int", EVENT_VALUE_INT, "-"},
			BadText{"int", EVENT_VALUE_INT, "2147483648"},
			BadText{"int", EVENT_VALUE_INT, "-2147483649"},
			BadText{"int", EVENT_VALUE_INT, nullptr}));

INSTANTIATE_TEST_SUITE_P(
	Booleans, InspectableBadText,
	testing::Values(BadText{"bool", EVENT_VALUE_BOOL, ""},
			BadText{"bool", EVENT_VALUE_BOOL, "2"},
			BadText{"bool", EVENT_VALUE_BOOL, "yes"},
			BadText{"bool", EVENT_VALUE_BOOL, "01"}));

INSTANTIATE_TEST_SUITE_P(
	Fractions, InspectableBadText,
	testing::Values(BadText{"double", EVENT_VALUE_DOUBLE, ""},
			BadText{"double", EVENT_VALUE_DOUBLE, "1,5"},
			BadText{"double", EVENT_VALUE_DOUBLE, "1.5 V"},
			BadText{"double", EVENT_VALUE_DOUBLE, "nan"},
			BadText{"double", EVENT_VALUE_DOUBLE, "inf"},
			BadText{"double", EVENT_VALUE_DOUBLE, "1e999"}));

INSTANTIATE_TEST_SUITE_P(
	Texts, InspectableBadText,
	testing::Values(BadText{"string", EVENT_VALUE_STRING, nullptr},
			BadText{"string", EVENT_VALUE_STRING, kNotUtf8},
			BadText{kNotUtf8, EVENT_VALUE_STRING, "text"},
			BadText{nullptr, EVENT_VALUE_STRING, "text"},
			BadText{"", EVENT_VALUE_STRING, "text"},
			BadText{"int", EVENT_VALUE_INT, kNotUtf8},
			BadText{"int", EventValueType(0), "1"},
			BadText{"int", EventValueType(5), "1"}));

// The locale is made here: a build machine need not have one with a comma.
class InspectableInACommaLocale : public InspectableTest
{
protected:
	void SetUp() override
	{
		const auto locale = directory_.path() / "de_DE.UTF-8";
		const auto command = "localedef -i de_DE -f UTF-8 '" +
				     locale.string() + "' >/dev/null 2>&1";
		std::system(command.c_str());
		setenv("LOCPATH", directory_.path().c_str(), 1);
		ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
		ASSERT_STREQ(std::localeconv()->decimal_point, ",");
	}
	void TearDown() override
	{
		std::setlocale(LC_ALL, "C");
		unsetenv("LOCPATH");
	}

private:
	TempDir directory_;
};

TEST_F(InspectableInACommaLocale, FractionsHaveAPoint)
{
	EXPECT_TRUE(set_text("double", EVENT_VALUE_DOUBLE, "1.5"));
	EXPECT_EQ(values(), "{'double': <1.5>}");
	EXPECT_FALSE(set_text("double", EVENT_VALUE_DOUBLE, "2,5"));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

TEST_F(InspectableTest, RefusesAnUnknownKey)
{
	EXPECT_FALSE(set_text("color", EVENT_VALUE_STRING, "red"));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
	EXPECT_FALSE(set("color", EVENT_VALUE_STRING, "red"));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
}

TEST_F(InspectableTest, RefusesAValueOfAnotherType)
{
	EXPECT_FALSE(set_text("int", EVENT_VALUE_STRING, "1"));
	EXPECT_TRUE(error_.is(EVENT_ERROR_TYPE));
	const gint32 number = 1;
	EXPECT_FALSE(set("bool", EVENT_VALUE_INT, &number));
	EXPECT_TRUE(error_.is(EVENT_ERROR_TYPE));
	EXPECT_EQ(values(), "{}");
}

TEST_F(InspectableTest, RefusesABadPointer)
{
	EXPECT_FALSE(set("string", EVENT_VALUE_STRING, kNotUtf8));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(set("int", EVENT_VALUE_INT, nullptr));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	const gint32 number = 1;
	EXPECT_FALSE(set("int", EventValueType(17), &number));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_set_value(nullptr, "int", EVENT_VALUE_INT, &number,
				     &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

TEST_F(InspectableTest, KeepsANiceNameThatIsNotGiven)
{
	auto *const keys = &declaration_->inspectable;
	EXPECT_TRUE(inspectable_set_nice_names(keys, "int", "Port", "One",
					       &error_));
	EXPECT_TRUE(inspectable_set_nice_names(keys, "int", nullptr, "Two",
					       &error_));
	EXPECT_TRUE(inspectable_set_nice_names(keys, "int", "Gate", nullptr,
					       &error_));
	EXPECT_EQ(keys->keys().at("int").nice_name, "Gate");
	EXPECT_EQ(keys->keys().at("int").value_nice_name, "Two");
}

TEST_F(InspectableTest, RefusesBadNiceNamesAndSetsNeither)
{
	auto *const keys = &declaration_->inspectable;
	EXPECT_FALSE(inspectable_set_nice_names(keys, "int", "Port", kNotUtf8,
						&error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_EQ(keys->keys().at("int").nice_name, "");
	EXPECT_FALSE(
		inspectable_set_nice_names(keys, "color", "a", "b", &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
	EXPECT_FALSE(
		inspectable_set_nice_names(nullptr, "int", "a", "b", &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

TEST_F(InspectableTest, WorksWithoutAPlaceForTheError)
{
	EXPECT_FALSE(inspectable_set_value_as_string(
		&event_->inspectable, "int", EVENT_VALUE_INT, "x", nullptr));
}

} // namespace
