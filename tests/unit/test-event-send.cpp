#include "event-fixture.h"
#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kConfigured = "com.example.Door";
constexpr const char *kManualTrigger = "com.vexa.Event.Qel.ManualTrigger";

class EventSendTest : public EventTest
{
protected:
	IOEvent *declared_event(const std::string &name)
	{
		IOEvent *event = add_event(name);
		declare(event);
		return event;
	}
	/// An event that repeats are suppressed of.
	IOEvent *filtered_event()
	{
		IOEvent *event = declared_event("IOPort");
		event->for_supervised = true;
		return event;
	}
	/// A configured event with the port's state as its own.
	IOEvent *configured_event()
	{
		IOEvent *event = add_event(kConfigured);
		event->keys = {
			event_key("port", "int", "7"),
			event_key("active", "bool", "PORT_STATUS", true)};
		declare(event);
		return event;
	}
	/// The events that were sent since the last call.
	std::vector<Sent> take_sent()
	{
		const std::vector<Sent> all = fake_vxevent::sent();
		const auto first = static_cast<std::ptrdiff_t>(taken_);
		taken_ = all.size();
		return {all.begin() + first, all.end()};
	}

private:
	size_t taken_ = 0;
};

TEST_F(EventSendTest, AnEventThatIsNotDeclaredIsNotSent)
{
	EXPECT_FALSE(send(add_event("IOPort"), 1));
	EXPECT_FALSE(send(add_event("PortAny"), 1));
	EXPECT_FALSE(send(add_event(kConfigured), 1));
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(EventSendTest, ADeclareOnlyEventIsNeverSent)
{
	IOEvent *event = declared_event("IOPort");
	event->declare_only = true;
	EXPECT_FALSE(send(event, 1));
	EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
}

TEST_F(EventSendTest, APortEventCarriesTheGivenState)
{
	IOEvent *event = declared_event("IOPort");
	EXPECT_TRUE(send(event, 1));
	EXPECT_TRUE(send(event, 0));
	const guint32 id = event->declaration_id;
	EXPECT_THAT(fake_vxevent::sent(),
		    ElementsAre(Sent{id, {"state bool 1"}},
				Sent{id, {"state bool 0"}}));
}

TEST_F(EventSendTest, ASendErrorIsLoggedAndTheEventDropped)
{
	IOEvent *event = declared_event("IOPort");
	fake_vxevent::fail("event_producer_send_event");
	EXPECT_FALSE(send(event, 1));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error sending event: told to fail"));
	EXPECT_NE(event->declaration_id, 0U);
}

TEST_F(EventSendTest, ABuiltInEventThatCannotBePreparedIsNotSent)
{
	IOEvent *port_event = declared_event("IOPort");
	IOEvent *supervised = declared_event(kSupervisedPort);
	fake_vxevent::fail("event_producer_prepare_event");
	EXPECT_FALSE(send(port_event, 1));
	EXPECT_FALSE(send(supervised, 1));
	EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
}

TEST_F(EventSendTest, RepeatsOfAnUnsupervisedEventAreSent)
{
	IOEvent *event = declared_event("IOPort");
	EXPECT_TRUE(send(event, 1));
	EXPECT_TRUE(send(event, 1));
}

TEST_F(EventSendTest, RepeatsOfASupervisedEventAreNotSent)
{
	IOEvent *event = filtered_event();
	EXPECT_TRUE(send(event, 1));
	EXPECT_FALSE(send(event, 1));
	EXPECT_TRUE(send(event, 0));
	EXPECT_TRUE(send(event, 1));
}

TEST_F(EventSendTest, TheFirstValueAfterADeclarationIsAlwaysSent)
{
	IOEvent *event = filtered_event();
	EXPECT_TRUE(send(event, 0));
	EXPECT_FALSE(send(event, 0));
	io_event_redeclare_port(port(), event);
	EXPECT_TRUE(send(event, 0));
}

TEST_F(EventSendTest, ARepeatIsSentAfterTheFilterWasReset)
{
	IOEvent *event = filtered_event();
	send(event, 1);
	io_event_reset_filter(event);
	EXPECT_TRUE(send(event, 1));
	EXPECT_FALSE(send(event, 1));
}

TEST_F(EventSendTest, ARepeatIsSentAfterTheActiveLevelChanged)
{
	supervise(SUPERVISED_CLOSED);
	IOEvent *event = declared_event(kSupervisedPort);
	event->for_supervised = true;
	EXPECT_TRUE(send(event, 1));
	EXPECT_FALSE(send(event, 1));
	take_sent();
	io_port_set_activelow(port(), true, true);
	EXPECT_EQ(take_sent().size(), 1U);
	EXPECT_FALSE(send(event, 1));
}

TEST_F(EventSendTest, AValueThatCouldNotBeSentIsTheLastValueAllTheSame)
{
	IOEvent *event = filtered_event();
	fake_vxevent::fail("event_producer_send_event");
	EXPECT_FALSE(send(event, 1));
	fake_vxevent::reset();
	EXPECT_FALSE(send(event, 1));
	EXPECT_TRUE(send(event, 0));
}

struct Wiring {
	SupervisedState state;
	fake_vxevent::Lines values;
};

class SupervisedEventTest : public EventSendTest,
			    public testing::WithParamInterface<Wiring>
{
};

TEST_P(SupervisedEventTest, CarriesTheWiringAndWhetherItMeansTampering)
{
	const Wiring &wiring = GetParam();
	supervise(wiring.state);
	IOEvent *event = declared_event(kSupervisedPort);
	EXPECT_TRUE(send(event, 1));
	EXPECT_THAT(fake_vxevent::sent(),
		    ElementsAre(Sent{event->declaration_id, wiring.values}));
}

INSTANTIATE_TEST_SUITE_P(
	States, SupervisedEventTest,
	testing::Values(Wiring{SUPERVISED_OPEN,
			       {"tampered bool 0", "state string open"}},
			Wiring{SUPERVISED_CLOSED,
			       {"tampered bool 0", "state string closed"}},
			Wiring{SUPERVISED_SHORT,
			       {"tampered bool 1", "state string short"}},
			Wiring{SUPERVISED_CUT,
			       {"tampered bool 1", "state string cut"}},
			Wiring{SUPERVISED_UNDEFINED,
			       {"tampered bool 0", "state string undefined"}}));

TEST_F(EventSendTest, ASupervisedEventIsFilteredByTheWiringNotTheGivenState)
{
	supervise(SUPERVISED_OPEN);
	IOEvent *event = declared_event(kSupervisedPort);
	event->for_supervised = true;
	EXPECT_TRUE(send(event, 1));
	EXPECT_FALSE(send(event, 0));
	supervise(SUPERVISED_CUT);
	EXPECT_TRUE(send(event, 0));
}

TEST_F(EventSendTest, ALineThatCannotBeMeasuredIsUndefinedAndNotTampered)
{
	supervise(SUPERVISED_CUT);
	fake_backends::data(port())->readout_fails = true;
	IOEvent *event = declared_event(kSupervisedPort);
	EXPECT_TRUE(send(event, 1));
	EXPECT_THAT(take_sent(), ElementsAre(Sent{event->declaration_id,
						  {"tampered bool 0",
						   "state string undefined"}}));
}

TEST_F(EventSendTest, ASimulatedChangeOfASupervisedInputCarriesTheWiring)
{
	supervise(SUPERVISED_SHORT);
	IOEvent *event = declared_event(kSupervisedPort);
	event->for_supervised = true;
	const Sent wiring = {event->declaration_id,
			     {"tampered bool 1", "state string short"}};
	io_port_set_virtual(port(), 1);
	EXPECT_THAT(take_sent(), ElementsAre(wiring));
	io_port_set_virtual(port(), 0);
	EXPECT_THAT(take_sent(), IsEmpty()) << "the wiring is what it was";
	io_port_redeclare_events(port());
	io_port_set_virtual(port(), 0);
	EXPECT_EQ(take_sent().size(), 1U) << "declared again in between";
}

TEST_F(EventSendTest, AConfiguredEventCarriesItsStateKeysOnly)
{
	IOEvent *event = configured_event();
	take_sent();
	set_level(1);
	EXPECT_TRUE(send(event, 1));
	EXPECT_THAT(take_sent(),
		    ElementsAre(Sent{event->declaration_id,
				     {"value active bool \"1\""}}));
}

TEST_F(EventSendTest, ASimulatedChangeReachesThePortEventNotAConfiguredOne)
{
	IOEvent *configured = configured_event();
	IOEvent *port_event = declared_event("IOPort");
	take_sent();
	io_port_set_virtual(port(), 1);
	EXPECT_THAT(
		take_sent(),
		ElementsAre(Sent{port_event->declaration_id, {"state bool 1"}},
			    Sent{configured->declaration_id,
				 {"value active bool \"0\""}}));
}

TEST_F(EventSendTest, AConfiguredEventIsFilteredByTheGivenState)
{
	IOEvent *event = configured_event();
	event->for_supervised = true;
	EXPECT_TRUE(send(event, 1));
	set_level(1);
	EXPECT_FALSE(send(event, 1));
}

TEST_F(EventSendTest, AConfiguredEventThatCannotBePreparedIsWarnedOf)
{
	IOEvent *event = configured_event();
	fake_vxevent::fail("event_producer_prepare_event");
	EXPECT_FALSE(send(event, 1));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to prepare event: com.example.Door "
				"id: " +
				std::to_string(event->declaration_id)));
}

TEST_F(EventSendTest, AConfiguredEventThatCannotBeFilledIsWarnedOf)
{
	IOEvent *event = configured_event();
	take_sent();
	fake_vxevent::fail("inspectable_set_value_as_string");
	EXPECT_FALSE(send(event, 1));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("populating event key value failed - Key: "
				"active Val: 0 Type: bool",
				"Failed to populate event values"));
	EXPECT_THAT(take_sent(), IsEmpty());
}

TEST_F(EventSendTest, AConfiguredEventsSendErrorIsWarnedOf)
{
	IOEvent *event = configured_event();
	fake_vxevent::fail("event_producer_send_event");
	EXPECT_FALSE(send(event, 1));
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Error sending event: told to fail"));
}

TEST_F(EventSendTest, AManualTriggerIsDeclaredAndSentWithItsIndexAndState)
{
	virtual_input_set_first_port_no(5);
	const PortRef trigger = io_port_create_manual_trigger(2);
	ASSERT_EQ(trigger->events.size(), 1U);
	IOEvent *event = trigger->events.front().get();
	io_port_set_enabled(trigger.get(), true);
	const guint32 id = event->declaration_id;
	EXPECT_THAT(fake_vxevent::contents(id),
		    ElementsAre(std::string("type ") + kManualTrigger,
				"value port int \"2\"", "property state"));
	EXPECT_THAT(take_sent(),
		    ElementsAre(Sent{id, {"value state bool \"0\""}}));

	io_port_set_virtual(trigger.get(), 1);
	EXPECT_THAT(take_sent(),
		    ElementsAre(Sent{id, {"value state bool \"1\""}}));
}

} // namespace
