#include "declaration.h"
#include "error-holder.h"
#include "test-handles.h"

using namespace vxevent;

namespace
{

gboolean no_value(Event *, gpointer)
{
	return FALSE;
}

class DeclarationTest : public testing::Test
{
protected:
	EventDeclaration *get() const
	{
		return declaration_.get();
	}
	std::string description() const
	{
		return text_of(describe(*declaration_));
	}
	std::string keys() const
	{
		return text_of(variant_of(declaration_->inspectable.values()));
	}
	bool add(const char *key, EventValueType type)
	{
		return event_declaration_add_key(get(), key, type, &error_);
	}

	const DeclarationPtr declaration_{event_declaration_new()};
	ErrorHolder error_;
};

TEST_F(DeclarationTest, HasAllSixEntriesWhenItIsEmpty)
{
	EXPECT_EQ(description(),
		  "{'type': <''>, 'property': <''>, 'keys': <@a{sv} {}>, "
		  "'nice-names': <@a{s(ss)} {}>, 'namespaces': <@a{ss} {}>, "
		  "'tags': <@a{sas} {}>}");
}

TEST_F(DeclarationTest, DescribesEverythingThatWasSet)
{
	const gint32 port = 3;
	ASSERT_TRUE(event_declaration_add_key_value(
		get(), "port", EVENT_VALUE_INT, &port, &error_));
	ASSERT_TRUE(event_declaration_add_key_value(
		get(), "topic0", EVENT_VALUE_STRING, "Device", &error_));
	ASSERT_TRUE(add("state", EVENT_VALUE_BOOL));
	ASSERT_TRUE(event_declaration_set_nice_names(get(), "port", "Port",
						     "Door", &error_));
	ASSERT_TRUE(event_declaration_set_nice_names(get(), "state", "Active",
						     nullptr, &error_));
	ASSERT_TRUE(event_declaration_set_name_space(get(), "topic0", "tns1",
						     &error_));
	ASSERT_TRUE(event_declaration_add_key_tag(get(), "port", "b", &error_));
	ASSERT_TRUE(event_declaration_add_key_tag(get(), "port", "a", &error_));
	ASSERT_TRUE(event_declaration_set_property(get(), "state", nullptr,
						   nullptr, &error_));
	EXPECT_EQ(description(),
		  "{'type': <''>, 'property': <'state'>, "
		  "'keys': <{'port': <3>, 'topic0': <'Device'>}>, "
		  "'nice-names': <{'port': ('Port', 'Door'), "
		  "'state': ('Active', ''), 'topic0': ('', '')}>, "
		  "'namespaces': <{'topic0': 'tns1'}>, "
		  "'tags': <{'port': ['b', 'a']}>}");
}

TEST_F(DeclarationTest, SetsAValueThroughItsInspectable)
{
	ASSERT_TRUE(add("port", EVENT_VALUE_INT));
	EXPECT_TRUE(inspectable_set_value_as_string(
		event_declaration_get_inspectable(get()), "port",
		EVENT_VALUE_INT, "12", &error_));
	EXPECT_EQ(keys(), "{'port': <12>}");
}

TEST_F(DeclarationTest, TakesEachKeyOnce)
{
	const gint32 port = 3;
	ASSERT_TRUE(add("port", EVENT_VALUE_INT));
	EXPECT_FALSE(add("port", EVENT_VALUE_STRING));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_declaration_add_key_value(
		get(), "port", EVENT_VALUE_INT, &port, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_EQ(keys(), "{}");
}

TEST_F(DeclarationTest, RefusesBadKeys)
{
	for (const char *key :
	     {static_cast<const char *>(nullptr), "", kNotUtf8}) {
		EXPECT_FALSE(add(key, EVENT_VALUE_INT));
		EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	}
	EXPECT_FALSE(add("port", EventValueType(0)));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_TRUE(get()->inspectable.keys().empty());
}

TEST_F(DeclarationTest, AddsNoKeyForABadValue)
{
	EXPECT_FALSE(event_declaration_add_key_value(
		get(), "name", EVENT_VALUE_STRING, kNotUtf8, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_TRUE(get()->inspectable.keys().empty());
}

TEST_F(DeclarationTest, DescribesKnownKeysOnly)
{
	EXPECT_FALSE(
		event_declaration_add_key_tag(get(), "port", "tag", &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
	EXPECT_FALSE(event_declaration_set_name_space(get(), "port", "tns1",
						      &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
	EXPECT_FALSE(event_declaration_set_nice_names(get(), "port", "a", "b",
						      &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
	EXPECT_FALSE(event_declaration_set_property(get(), "port", no_value,
						    nullptr, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_NO_KEY));
}

TEST_F(DeclarationTest, RefusesTextsThatAreNotUtf8)
{
	ASSERT_TRUE(add("port", EVENT_VALUE_INT));
	EXPECT_FALSE(event_declaration_add_key_tag(get(), "port", kNotUtf8,
						   &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_declaration_set_name_space(get(), "port", kNotUtf8,
						      &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_declaration_set_nice_names(get(), "port", kNotUtf8,
						      nullptr, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_declaration_set_property(get(), kNotUtf8, nullptr,
						    nullptr, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
}

TEST_F(DeclarationTest, UnsetsANiceNameThatIsNull)
{
	ASSERT_TRUE(add("port", EVENT_VALUE_INT));
	ASSERT_TRUE(event_declaration_set_nice_names(get(), "port", "Port",
						     "Door", &error_));
	ASSERT_TRUE(event_declaration_set_nice_names(get(), "port", nullptr,
						     "Gate", &error_));
	EXPECT_EQ(get()->inspectable.keys().at("port").nice_name, "");
	EXPECT_EQ(get()->inspectable.keys().at("port").value_nice_name, "Gate");
}

TEST_F(DeclarationTest, IsAStateOnceItHasAProperty)
{
	ASSERT_TRUE(add("state", EVENT_VALUE_BOOL));
	EXPECT_FALSE(event_declaration_is_property(get()));
	ASSERT_TRUE(event_declaration_set_property(get(), "state", no_value,
						   nullptr, &error_));
	EXPECT_TRUE(event_declaration_is_property(get()));
}

TEST_F(DeclarationTest, RefusesToWorkOnNothing)
{
	EXPECT_FALSE(event_declaration_add_key(nullptr, "port", EVENT_VALUE_INT,
					       &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_declaration_set_property(nullptr, "port", nullptr,
						    nullptr, &error_));
	EXPECT_TRUE(error_.is(EVENT_ERROR_INVALID));
	EXPECT_FALSE(event_declaration_is_property(nullptr));
	EXPECT_EQ(event_declaration_get_inspectable(nullptr), nullptr);
	event_declaration_free(nullptr);
}

} // namespace
