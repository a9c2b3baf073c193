#include "events/event-values.h"

#include "event-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class EventValuesTest : public EventTest
{
protected:
	EventDeclaration *declaration() const
	{
		return declaration_.get();
	}
	Inspectable *inspectable() const
	{
		return event_declaration_get_inspectable(declaration());
	}
	bool fill(const std::list<EventKey> &keys, FillMode mode)
	{
		return populate_event_values(port(), keys, inspectable(), mode,
					     &property_key_);
	}
	/// What the library was told for @p keys.
	Lines filled(const std::list<EventKey> &keys, FillMode mode)
	{
		EXPECT_TRUE(fill(keys, mode));
		return fake_vxevent::filled(inspectable());
	}
	/// The value that the key's text and type make.
	Lines value(const char *type, const char *text)
	{
		return filled({event_key("key", type, text)},
			      FillMode::Declaration);
	}
	static std::string line(const std::string &type,
				const std::string &text)
	{
		return "value key " + type + " \"" + text + "\"";
	}
	void TearDown() override
	{
		declaration_.reset();
		EventTest::TearDown();
	}

	util::Handle<EventDeclaration, event_declaration_free> declaration_{
		event_declaration_new()};
	const EventKey *property_key_ = nullptr;
};

struct Row {
	const char *type;
	const char *text;
	int level;
	SupervisedState wiring;
	const char *expected;
};

class EventValueTest : public EventValuesTest,
		       public testing::WithParamInterface<Row>
{
};

TEST_P(EventValueTest, FollowsTheTextTheTypeAndThePort)
{
	const Row &row = GetParam();
	set_level(row.level);
	supervise(row.wiring);
	EXPECT_THAT(value(row.type, row.text),
		    ElementsAre(line(row.type, row.expected)));
}

constexpr auto kOpen = SUPERVISED_OPEN;

INSTANTIATE_TEST_SUITE_P(
	PortStatus, EventValueTest,
	testing::Values(Row{"int", "PORT_STATUS", 0, kOpen, "0"},
			Row{"int", "PORT_STATUS", 1, kOpen, "1"},
			Row{"bool", "PORT_STATUS", 0, kOpen, "0"},
			Row{"bool", "PORT_STATUS", 1, kOpen, "1"},
			Row{"string", "PORT_STATUS", 0, kOpen, "false"},
			Row{"string", "PORT_STATUS", 1, kOpen, "true"}));

INSTANTIATE_TEST_SUITE_P(
	PortActive, EventValueTest,
	testing::Values(Row{"int", "PORT_ACTIVE", 0, kOpen, "0"},
			Row{"int", "PORT_ACTIVE", 1, kOpen, "1"},
			Row{"bool", "PORT_ACTIVE", 0, kOpen, "0"},
			Row{"bool", "PORT_ACTIVE", 1, kOpen, "1"},
			Row{"string", "PORT_ACTIVE", 0, kOpen, "inactive"},
			Row{"string", "PORT_ACTIVE", 1, kOpen, "active"}));

constexpr const char *kWiring = "PORT_SUPERVISED_STATUS";

INSTANTIATE_TEST_SUITE_P(
	PortSupervisedStatus, EventValueTest,
	testing::Values(Row{"int", kWiring, 0, SUPERVISED_OPEN, "0"},
			Row{"int", kWiring, 0, SUPERVISED_CLOSED, "1"},
			Row{"int", kWiring, 0, SUPERVISED_SHORT, "2"},
			Row{"int", kWiring, 0, SUPERVISED_CUT, "3"},
			Row{"int", kWiring, 0, SUPERVISED_UNDEFINED, "4"},
			Row{"bool", kWiring, 0, SUPERVISED_OPEN, "0"},
			Row{"bool", kWiring, 0, SUPERVISED_CLOSED, "1"},
			Row{"bool", kWiring, 0, SUPERVISED_SHORT, "0"},
			Row{"bool", kWiring, 0, SUPERVISED_CUT, "0"},
			Row{"bool", kWiring, 0, SUPERVISED_UNDEFINED, "0"},
			Row{"string", kWiring, 0, SUPERVISED_OPEN, "open"},
			Row{"string", kWiring, 0, SUPERVISED_CLOSED, "closed"},
			Row{"string", kWiring, 0, SUPERVISED_SHORT, "short"},
			Row{"string", kWiring, 0, SUPERVISED_CUT, "cut"},
			Row{"string", kWiring, 0, SUPERVISED_UNDEFINED,
			    "undefined"}));

INSTANTIATE_TEST_SUITE_P(
	Literal, EventValueTest,
	testing::Values(Row{"bool", "true", 0, kOpen, "1"},
			Row{"bool", "1", 0, kOpen, "1"},
			Row{"bool", "false", 1, kOpen, "0"},
			Row{"bool", "TRUE", 1, kOpen, "0"},
			Row{"bool", "yes", 1, kOpen, "0"},
			Row{"bool", "", 1, kOpen, "0"},
			Row{"int", "-17", 0, kOpen, "-17"},
			Row{"int", "many", 0, kOpen, "many"},
			Row{"double", "1.5", 0, kOpen, "1.5"},
			Row{"string", "true", 0, kOpen, "true"},
			Row{"string", "", 0, kOpen, ""},
			Row{"string", "port_status", 1, kOpen, "port_status"},
			Row{"string", "PORT_STATUS ", 1, kOpen, "PORT_STATUS "},
			Row{"string", "\"[\n\xc3\xa5]", 1, kOpen,
			    "\"[\n\xc3\xa5]"}));

TEST_F(EventValuesTest, TheStateIsTheLogicalOne)
{
	port_->input_activelow = true;
	set_level(0);
	EXPECT_THAT(value("string", "PORT_ACTIVE"),
		    ElementsAre(line("string", "active")));
}

TEST_F(EventValuesTest, APortThatIsNotSetUpIsInactive)
{
	port_->is_setup = false;
	set_level(1);
	EXPECT_THAT(value("bool", "PORT_STATUS"),
		    ElementsAre(line("bool", "0")));
}

TEST_F(EventValuesTest, ALineThatCannotBeMeasuredIsUndefined)
{
	supervise(SUPERVISED_OPEN);
	fake_backends::data(port())->readout_fails = true;
	EXPECT_THAT(value("int", kWiring), ElementsAre(line("int", "4")));
}

TEST_F(EventValuesTest, AKeyWithoutAValueHasAnEmptyOne)
{
	EventKey key = event_key("key", "string", "");
	key.value.reset();
	EXPECT_THAT(filled({key}, FillMode::Declaration),
		    ElementsAre(line("string", "")));
}

TEST_F(EventValuesTest, AKeyWithoutANameHasAnEmptyOne)
{
	EventKey key = event_key("", "int", "1");
	key.key.reset();
	EXPECT_THAT(filled({key}, FillMode::Declaration),
		    ElementsAre("value  int \"1\""));
}

TEST_F(EventValuesTest, DeclaringFillsTheKeysInTheirOrder)
{
	EXPECT_THAT(
		filled({event_key("b", "int", "1"), event_key("a", "int", "2")},
		       FillMode::Declaration),
		ElementsAre("value b int \"1\"", "value a int \"2\""));
}

TEST_F(EventValuesTest, DeclaringGivesAStateKeyItsNamesButNoValue)
{
	EventKey state = event_key("state", "bool", "PORT_STATUS", true);
	state.key_nice_name = "Active";
	EXPECT_THAT(filled({state}, FillMode::Declaration),
		    ElementsAre("nice-names state \"Active\" -"));
}

TEST_F(EventValuesTest, DeclaringFindsTheLastStateKey)
{
	const std::list<EventKey> keys = {
		event_key("first", "bool", "1", true),
		event_key("last", "bool", "1", true),
		event_key("plain", "bool", "1"),
	};
	EXPECT_TRUE(fill(keys, FillMode::Declaration));
	EXPECT_EQ(property_key_, &*std::next(keys.begin()));
}

TEST_F(EventValuesTest, WithoutAStateKeyNoneIsFound)
{
	const EventKey untouched;
	property_key_ = &untouched;
	EXPECT_TRUE(fill({event_key("a", "int", "1")}, FillMode::Declaration));
	EXPECT_EQ(property_key_, &untouched);
}

TEST_F(EventValuesTest, TheStateKeyNeedNotBeAskedFor)
{
	EXPECT_TRUE(populate_event_values(
		port(), {event_key("a", "int", "1", true)}, inspectable(),
		FillMode::Declaration, nullptr));
}

TEST_F(EventValuesTest, SendingFillsTheValuesOfStateKeysOnly)
{
	EventKey state = event_key("state", "bool", "true", true);
	state.key_nice_name = "Active";
	EXPECT_THAT(filled({event_key("place", "string", "hall"), state},
			   FillMode::Sending),
		    ElementsAre("value state bool \"1\""));
	EXPECT_EQ(property_key_, nullptr);
}

TEST_F(EventValuesTest, NoKeysAreFilledWithNothing)
{
	EXPECT_THAT(filled({}, FillMode::Declaration), IsEmpty());
	EXPECT_THAT(filled({}, FillMode::Sending), IsEmpty());
}

struct Names {
	std::optional<std::string> key;
	std::optional<std::string> value;
	const char *expected;
};

class EventNiceNameTest : public EventValuesTest,
			  public testing::WithParamInterface<Names>
{
};

TEST_P(EventNiceNameTest, IsTheTextOrThePortsName)
{
	EventKey key = event_key("key", "int", "1");
	key.key_nice_name = GetParam().key;
	key.value_nice_name = GetParam().value;
	EXPECT_THAT(filled({key}, FillMode::Declaration),
		    ElementsAre(GetParam().expected, line("int", "1")));
}

INSTANTIATE_TEST_SUITE_P(
	Names, EventNiceNameTest,
	testing::Values(
		Names{"Door", {}, "nice-names key \"Door\" -"},
		Names{{}, "Open", "nice-names key - \"Open\""},
		Names{"Door", "Open", "nice-names key \"Door\" \"Open\""},
		Names{"PORT_NAME", {}, "nice-names key \"Front door\" -"},
		Names{"Door", "PORT_NAME",
		      "nice-names key \"Door\" \"Front door\""},
		Names{"", "port_name", "nice-names key \"\" \"port_name\""}));

TEST_F(EventValuesTest, ThePortsNameIsTheOneOfTheSideThatItIsOn)
{
	make_configurable_output();
	EventKey key = event_key("key", "int", "1");
	key.key_nice_name = "PORT_NAME";
	EXPECT_THAT(filled({key}, FillMode::Declaration),
		    testing::Contains("nice-names key \"Door opener\" -"));
}

TEST_F(EventValuesTest, TheNameOfAPortWithoutOneIsUnset)
{
	port_->input_name.reset();
	EventKey key = event_key("key", "int", "1");
	key.key_nice_name = "PORT_NAME";
	key.value_nice_name = "PORT_NAME";
	EXPECT_THAT(filled({key}, FillMode::Declaration),
		    testing::Contains("nice-names key - -"));
}

TEST_F(EventValuesTest, AKeyWithoutNiceNamesIsNotGivenAny)
{
	fake_vxevent::fail("inspectable_set_nice_names");
	EXPECT_TRUE(fill({event_key("a", "int", "1")}, FillMode::Declaration));
}

TEST_F(EventValuesTest, NiceNamesThatAreRefusedEndTheFilling)
{
	fake_vxevent::fail("inspectable_set_nice_names");
	EventKey key = event_key("a", "int", "1");
	key.key_nice_name = "A";
	key.value_nice_name = "PORT_NAME";
	EXPECT_FALSE(
		fill({key, event_key("b", "int", "2")}, FillMode::Declaration));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set value nice name. Key: A KNN: A "
				"VNN: Front door"));
	EXPECT_THAT(fake_vxevent::filled(inspectable()), IsEmpty());
}

TEST_F(EventValuesTest, AValueThatIsRefusedEndsTheFilling)
{
	fake_vxevent::fail("inspectable_set_value_as_string");
	EXPECT_FALSE(fill(
		{event_key("a", "bool", "true"), event_key("b", "int", "2")},
		FillMode::Declaration));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("populating event key value failed - Key: a "
				"Val: 1 Type: bool"));
}

using EventValuesDeathTest = EventValuesTest;

TEST_F(EventValuesDeathTest, APlaceholderOfTypeDoubleIsAProgrammingError)
{
	for (const char *placeholder :
	     {"PORT_STATUS", "PORT_ACTIVE", "PORT_SUPERVISED_STATUS"}) {
		EXPECT_DEATH(value("double", placeholder), "ERROR:event\\.c:")
			<< placeholder;
	}
}

TEST_F(EventValuesDeathTest, AnUnknownKeyTypeIsAProgrammingError)
{
	for (const char *type : {"", "INT", "integer", "float"})
		EXPECT_DEATH(value(type, "1"), "ERROR:event\\.c:") << type;
}

TEST_F(EventValuesDeathTest, AKeyWithoutATypeIsAProgrammingError)
{
	EventKey key = event_key("key", "", "1");
	key.type.reset();
	EXPECT_DEATH(fill({key}, FillMode::Declaration), "ERROR:event\\.c:");
}

TEST_F(EventValuesDeathTest, AStateKeyOfUnknownTypeIsFoundWhenDeclaring)
{
	EXPECT_DEATH(fill({event_key("key", "what", "1", true)},
			  FillMode::Declaration),
		     "ERROR:event\\.c:");
}

} // namespace
