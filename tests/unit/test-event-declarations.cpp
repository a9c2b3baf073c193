#include "events/event-declarations.h"

#include "event-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

class EventDeclarationTest : public EventTest
{
protected:
	/// What the library was told of the port's event @p name.
	Lines declared_contents(const std::string &name)
	{
		return fake_vxevent::contents(declare(add_event(name)));
	}
};

TEST_F(EventDeclarationTest, ThePortEventIsDeclaredInFull)
{
	EXPECT_THAT(declared_contents("IOPort"),
		    ElementsAre("key port int 3", "key state bool",
				"key topic0 string Device",
				"key topic1 string IO",
				"key topic2 string Port",
				"nice-names topic1 - \"Input ports\"",
				"nice-names topic2 - \"Digital input port\"",
				"nice-names port \"Port\" \"Front door\"",
				"nice-names state \"Active\" -",
				"name-space topic0 \"tns1\"",
				"name-space topic1 \"tnsvexa\"",
				"name-space topic2 \"tnsvexa\"",
				"tag port \"onvif-source\"",
				"tag state \"onvif-data\"", "property state"));
}

TEST_F(EventDeclarationTest, TheSupervisedPortEventIsDeclaredInFull)
{
	EXPECT_THAT(declared_contents(kSupervisedPort),
		    ElementsAre("key port int 3", "key tampered bool",
				"key state string", "key topic0 string Device",
				"key topic1 string IO",
				"key topic2 string SupervisedPort",
				"nice-names topic1 - \"Input ports\"",
				"nice-names topic2 - \"Supervised input port\"",
				"nice-names port \"Port\" \"Front door\"",
				"nice-names state \"State\" -",
				"nice-names tampered \"Tampered\" -",
				"name-space topic0 \"tns1\"",
				"name-space topic1 \"tnsvexa\"",
				"name-space topic2 \"tnsvexa\"",
				"tag port \"onvif-source\"",
				"tag state \"onvif-data\"",
				"tag tampered \"onvif-data\"",
				"property tampered"));
}

TEST_F(EventDeclarationTest, AnOutputsEventCarriesItsOutputName)
{
	make_configurable_output();
	EXPECT_THAT(declared_contents("IOPort"),
		    testing::Contains("nice-names port \"Port\" \"Door "
				      "opener\""));
}

TEST_F(EventDeclarationTest, APortWithoutANameIsDeclaredWithoutOne)
{
	port_->input_name.reset();
	EXPECT_THAT(declared_contents("IOPort"),
		    testing::Contains("nice-names port \"Port\" -"));
	EXPECT_THAT(declared_contents(kSupervisedPort),
		    testing::Contains("nice-names port \"Port\" -"));
}

TEST_F(EventDeclarationTest, ThePortsGetterReadsTheLogicalState)
{
	io_port_list_add(port_);
	const guint32 id = declare(add_event("IOPort"));
	EXPECT_THAT(fake_vxevent::ask(id), Optional(Lines{"state bool 0"}));
	set_level(1);
	EXPECT_THAT(fake_vxevent::ask(id), Optional(Lines{"state bool 1"}));
	port_->input_activelow = true;
	EXPECT_THAT(fake_vxevent::ask(id), Optional(Lines{"state bool 0"}));
}

TEST_F(EventDeclarationTest, TheSupervisedGetterReadsTheWiring)
{
	io_port_list_add(port_);
	supervise(SUPERVISED_CUT);
	const guint32 id = declare(add_event(kSupervisedPort));
	EXPECT_THAT(fake_vxevent::ask(id),
		    Optional(Lines{"tampered bool 1", "state string cut"}));
	supervise(SUPERVISED_OPEN);
	EXPECT_THAT(fake_vxevent::ask(id),
		    Optional(Lines{"tampered bool 0", "state string open"}));
}

TEST_F(EventDeclarationTest, TheGettersOfAPortThatIsNotInServiceHaveNoValue)
{
	EXPECT_EQ(fake_vxevent::ask(declare(add_event("IOPort"))),
		  std::nullopt);
	EXPECT_EQ(fake_vxevent::ask(declare(add_event(kSupervisedPort))),
		  std::nullopt);
}

TEST_F(EventDeclarationTest, AGetterOutlivesItsPort)
{
	io_port_list_add(port_);
	const guint32 id = declare(add_event("IOPort"));
	fake_vxevent::fail("event_producer_undeclare");
	io_port_list_free();
	EXPECT_EQ(fake_vxevent::ask(id), std::nullopt);
	fake_vxevent::reset();
	event_producer_undeclare(nullptr, id, nullptr);
}

TEST_F(EventDeclarationTest, AGetterThatCannotSetTheValueSaysSo)
{
	io_port_list_add(port_);
	const guint32 port_event = declare(add_event("IOPort"));
	const guint32 supervised = declare(add_event(kSupervisedPort));
	fake_vxevent::fail("event_set_value");
	EXPECT_EQ(fake_vxevent::ask(port_event), std::nullopt);
	EXPECT_EQ(fake_vxevent::ask(supervised), std::nullopt);
}

class ConfiguredEventTest : public EventTest
{
protected:
	/// A literal key with a display name, and the event's state.
	ConfiguredEventTest()
	{
		EventKey place = event_key("place", "string", "hall");
		place.value_nice_name = "PORT_NAME";
		event_->keys = {place, event_key("active", "bool",
						 "PORT_STATUS", true)};
	}

	IOEvent *event_ = add_event("com.example.Door");
};

TEST_F(ConfiguredEventTest, IsDeclaredFromItsTypeFilledAndMadeAState)
{
	const guint32 id = declare(event_);
	EXPECT_THAT(fake_vxevent::contents(id),
		    ElementsAre("type com.example.Door",
				"nice-names place - \"Front door\"",
				"value place string \"hall\"",
				"property active"));
	EXPECT_EQ(fake_vxevent::ask(id), std::nullopt);
}

TEST_F(ConfiguredEventTest, SendsItsInitialState)
{
	set_level(1);
	const guint32 id = declare(event_);
	EXPECT_THAT(fake_vxevent::sent(),
		    ElementsAre(Sent{id, {"value active bool \"1\""}}));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ConfiguredEventTest, WithoutAStateKeySendsNothingAtFirst)
{
	event_->keys.pop_back();
	EXPECT_NE(declare(event_), 0U);
	EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
}

TEST_F(ConfiguredEventTest, ADeclareOnlyOneIsDeclaredAndNeverSent)
{
	event_->declare_only = true;
	const guint32 id = declare(event_);
	EXPECT_THAT(fake_vxevent::contents(id),
		    testing::Contains("nice-names place - \"Front door\""));
	EXPECT_FALSE(send(event_, 1));
	EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
}

TEST_F(ConfiguredEventTest, TheLastStateKeyIsTheState)
{
	event_->keys.push_back(event_key("ready", "bool", "true", true));
	const guint32 id = declare(event_);
	EXPECT_EQ(fake_vxevent::contents(id).back(), "property ready");
	EXPECT_THAT(fake_vxevent::sent(),
		    ElementsAre(Sent{id,
				     {"value active bool \"0\"",
				      "value ready bool \"1\""}}));
}

TEST_F(ConfiguredEventTest, ATypeThatIsAStateAlreadyKeepsItsOwnKey)
{
	fake_vxevent::define_state_type("com.example.Door");
	const guint32 id = declare(event_);
	EXPECT_THAT(fake_vxevent::contents(id),
		    testing::Not(testing::Contains(
			    testing::StartsWith("property"))));
	EXPECT_EQ(fake_vxevent::sent().size(), 1U);
}

TEST_F(ConfiguredEventTest, AStateTypeWithoutStateKeysSendsItsState)
{
	fake_vxevent::define_state_type("com.example.Door");
	event_->keys.clear();
	const guint32 id = declare(event_);
	EXPECT_THAT(fake_vxevent::sent(), ElementsAre(Sent{id, {}}));
}

TEST_F(ConfiguredEventTest, AnUnknownTypeLeavesItUndeclared)
{
	fake_vxevent::fail("event_declaration_new_from_type");
	EXPECT_EQ(declare(event_), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to create event declaration: "
				"com.example.Door for port 3"));
}

TEST_F(ConfiguredEventTest, AKeyThatCannotBeSetLeavesItUndeclared)
{
	fake_vxevent::fail("inspectable_set_value_as_string");
	EXPECT_EQ(declare(event_), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("populating event key value failed - Key: "
				"place Val: hall Type: string",
				"Failed to populate event declaration!"));
	EXPECT_EQ(recorder::count("event_producer_declare"), 0U);
}

TEST_F(ConfiguredEventTest, AStateKeyThatIsRefusedLeavesItUndeclared)
{
	fake_vxevent::fail("event_declaration_set_property");
	EXPECT_EQ(declare(event_), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set event property: active"));
	EXPECT_EQ(recorder::count("event_producer_declare"), 0U);
}

TEST_F(ConfiguredEventTest, AStateKeyWithoutANameIsRefusedByTheLibrary)
{
	event_->keys.back().key.reset();
	fake_vxevent::fail("event_declaration_set_property");
	EXPECT_EQ(declare(event_), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to set event property: "));
}

TEST_F(ConfiguredEventTest, ADeclarationThatIsRefusedIsWarnedOf)
{
	fake_vxevent::fail("event_producer_declare");
	EXPECT_EQ(declare(event_), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to declare event com.example.Door for "
				"port 3"));
	EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
}

TEST_F(ConfiguredEventTest, AnInitialStateThatCannotBeSentIsWarnedOf)
{
	fake_vxevent::fail("event_producer_send_event");
	EXPECT_NE(declare(event_), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error sending event: told to fail",
				"Failed to send initial state of event "
				"com.example.Door for port 3"));
}

TEST_F(ConfiguredEventTest, AHugeNameIsPassedOnAsItIs)
{
	const std::string name(65536, 'n');
	IOEvent *event = add_event(name);
	EXPECT_THAT(fake_vxevent::contents(declare(event)),
		    ElementsAre("type " + name));
}

} // namespace
