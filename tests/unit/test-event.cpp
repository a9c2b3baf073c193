#include "event-fixture.h"
#include "ioport/port-settings.h"
#include "ioport/port-supervision.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string call(const char *function, guint32 id)
{
	return std::string(function) + "(" + std::to_string(id) + ")";
}

struct Applicability {
	IOPortType type;
	bool direction;
	bool supervised;
	bool for_supervised;
	bool for_input;
	bool for_output;
	bool applies;
};

class EventApplicabilityTest : public EventTest,
			       public testing::WithParamInterface<Applicability>
{
};

TEST_P(EventApplicabilityTest, FollowsWhatThePortIsNow)
{
	const Applicability &row = GetParam();
	port_->type = row.type;
	port_->direction = row.direction;
	port_->supervised = row.supervised;
	IOEvent event;
	event.for_supervised = row.for_supervised;
	event.for_input = row.for_input;
	event.for_output = row.for_output;
	EXPECT_EQ(io_event_currently_applicable(port(), &event), row.applies);
}

INSTANTIATE_TEST_SUITE_P(
	SupervisedInput, EventApplicabilityTest,
	testing::Values(
		Applicability{PORT_INPUT, true, true, true, true, false, true},
		Applicability{PORT_INPUT, true, true, true, false, false, true},
		Applicability{PORT_INPUT, true, true, false, true, false, true},
		Applicability{PORT_INPUT, true, true, false, false, true,
			      false},
		Applicability{PORT_IO_CTRL, true, true, true, false, false,
			      true}));

INSTANTIATE_TEST_SUITE_P(
	Input, EventApplicabilityTest,
	testing::Values(Applicability{PORT_INPUT, true, false, false, true,
				      false, true},
			Applicability{PORT_INPUT, true, false, true, false,
				      true, false},
			Applicability{PORT_IO_CTRL, true, false, false, true,
				      false, true},
			Applicability{PORT_IO_CTRL, true, false, true, false,
				      true, false}));

INSTANTIATE_TEST_SUITE_P(
	Output, EventApplicabilityTest,
	testing::Values(Applicability{PORT_OUTPUT, false, false, false, false,
				      true, true},
			Applicability{PORT_OUTPUT, false, false, true, true,
				      false, false},
			Applicability{PORT_IO_CTRL, false, false, false, false,
				      true, true},
			Applicability{PORT_IO_CTRL, false, true, true, true,
				      false, false}));

TEST_F(EventTest, ADeclaredEventKeepsTheLibrarysId)
{
	const guint32 id = declare(add_event("IOPort"));
	EXPECT_NE(id, 0U);
	EXPECT_THAT(fake_vxevent::declared(), ElementsAre(id));
}

TEST_F(EventTest, AnEventThatDoesNotApplyIsNotDeclared)
{
	IOEvent *event = add_event("IOPort");
	event->for_input = false;
	EXPECT_EQ(declare(event), 0U);
	EXPECT_EQ(recorder::count("event_producer_declare"), 0U);
}

TEST_F(EventTest, ADeclaredEventIsNotDeclaredAgain)
{
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	EXPECT_EQ(declare(event), id);
	EXPECT_EQ(recorder::count("event_producer_declare"), 1U);
}

TEST_F(EventTest, EveryAttemptToDeclareResetsTheFilter)
{
	IOEvent *declared = add_event("IOPort");
	declare(declared);
	declared->filter_reset = false;
	declare(declared);
	EXPECT_TRUE(declared->filter_reset);

	IOEvent *inapplicable = add_event("IOPort");
	inapplicable->for_input = false;
	declare(inapplicable);
	EXPECT_TRUE(inapplicable->filter_reset);
}

TEST_F(EventTest, AnEventWithoutANameIsIgnoredWithAWarning)
{
	EXPECT_EQ(declare(add_event(std::nullopt)), 0U);
	EXPECT_THAT(log_.warnings(), ElementsAre(HasSubstr("port 3")));
	EXPECT_THAT(fake_vxevent::declared(), IsEmpty());
}

TEST_F(EventTest, AnEventWithoutANameThatDoesNotApplyIsNotWarnedOf)
{
	IOEvent *event = add_event(std::nullopt);
	event->for_input = false;
	EXPECT_EQ(declare(event), 0U);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(EventTest, AnEventWithAnEmptyNameIsLookedUpAsAType)
{
	fake_vxevent::fail("event_declaration_new_from_type");
	EXPECT_EQ(declare(add_event("")), 0U);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Failed to create event declaration:  for "
				"port 3"));
}

TEST_F(EventTest, ABuiltInEventThatTheLibraryRefusesStaysUndeclared)
{
	fake_vxevent::fail("event_producer_declare");
	IOEvent *event = add_event("IOPort");
	EXPECT_EQ(declare(event), 0U);
	EXPECT_EQ(declare(add_event(kSupervisedPort)), 0U);
	fake_vxevent::reset();
	EXPECT_NE(declare(event), 0U);
}

TEST_F(EventTest, UndeclaringWithdrawsTheEvent)
{
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	io_event_undeclare_event(event);
	EXPECT_EQ(event->declaration_id, 0U);
	EXPECT_EQ(recorder::count(call("event_producer_undeclare", id)), 1U);
	EXPECT_THAT(fake_vxevent::declared(), IsEmpty());
}

TEST_F(EventTest, UndeclaringNothingAsksNothingOfTheLibrary)
{
	io_event_undeclare_event(nullptr);
	io_event_undeclare_event(add_event("IOPort"));
	EXPECT_EQ(recorder::count("event_producer_undeclare"), 0U);
}

TEST_F(EventTest, AnEventThatTheLibraryDoesNotWithdrawCountsAsUndeclared)
{
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	fake_vxevent::fail("event_producer_undeclare");
	io_event_undeclare_event(event);
	EXPECT_EQ(event->declaration_id, 0U);
	fake_vxevent::reset();
	event_producer_undeclare(nullptr, id, nullptr);
}

TEST_F(EventTest, ADeclarationAfterAWithdrawalHasAnotherId)
{
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	io_event_undeclare_event(event);
	EXPECT_NE(declare(event), id);
}

TEST_F(EventTest, RedeclaringWithdrawsFirstAndThenDeclares)
{
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	recorder::reset();
	io_event_redeclare_port(port(), event);
	EXPECT_THAT(recorder::calls(),
		    ElementsAre(call("event_producer_undeclare", id),
				call("event_producer_declare",
				     event->declaration_id)));
}

TEST_F(EventTest, RedeclaringOnlyWithdrawsWhatDoesNotApplyAnyMore)
{
	IOEvent *event = add_event("IOPort");
	declare(event);
	event->for_input = false;
	io_event_redeclare_port(port(), event);
	EXPECT_EQ(event->declaration_id, 0U);
	EXPECT_THAT(fake_vxevent::declared(), IsEmpty());
}

TEST_F(EventTest, ANewPortNameReachesTheDeclaration)
{
	IOEvent *event = add_event("IOPort");
	declare(event);
	io_port_set_input_name(port(), "Back door");
	EXPECT_THAT(fake_vxevent::contents(event->declaration_id),
		    testing::Contains("nice-names port \"Port\" \"Back "
				      "door\""));
}

TEST_F(EventTest, ADirectionChangeExchangesTheEventsOfTheTwoSides)
{
	port_->type = PORT_IO_CTRL;
	IOEvent *for_input = add_event("IOPort");
	for_input->for_output = false;
	IOEvent *for_output = add_event("com.example.Output");
	for_output->for_input = false;
	declare(for_input);
	declare(for_output);
	EXPECT_NE(for_input->declaration_id, 0U);
	EXPECT_EQ(for_output->declaration_id, 0U);

	io_port_set_direction(port(), false);
	EXPECT_EQ(for_input->declaration_id, 0U);
	EXPECT_NE(for_output->declaration_id, 0U);
}

TEST_F(EventTest, AnEventOfBothSidesKeepsItsNameAcrossADirectionChange)
{
	port_->type = PORT_IO_CTRL;
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	io_port_set_direction(port(), false);
	EXPECT_EQ(event->declaration_id, id);
	const std::string output_name =
		"nice-names port \"Port\" \"Door opener\"";
	EXPECT_THAT(fake_vxevent::contents(id),
		    testing::Not(testing::Contains(output_name)));
	io_event_redeclare_port(port(), event);
	EXPECT_THAT(fake_vxevent::contents(event->declaration_id),
		    testing::Contains(output_name));
}

TEST_F(EventTest, SwitchingSupervisionDeclaresAndWithdrawsItsEvents)
{
	IOEvent *tampering = add_event(kSupervisedPort);
	tampering->for_supervised = true;
	tampering->for_input = false;
	IOEvent *plain = add_event("IOPort");
	declare(tampering);
	const guint32 id = declare(plain);
	EXPECT_EQ(tampering->declaration_id, 0U);

	io_port_set_supervised(port(), true);
	io_port_redeclare_events(port());
	EXPECT_NE(tampering->declaration_id, 0U);
	EXPECT_NE(plain->declaration_id, 0U) << "a supervised input is one";
	EXPECT_NE(plain->declaration_id, id) << "declared again";

	io_port_set_supervised(port(), false);
	io_port_redeclare_events(port());
	EXPECT_EQ(tampering->declaration_id, 0U);
	EXPECT_THAT(fake_vxevent::declared(),
		    ElementsAre(plain->declaration_id));
}

TEST_F(EventTest, DisablingAPortWithdrawsItsEventsAndEnablingDeclaresThem)
{
	IOEvent *event = add_event("IOPort");
	declare(event);
	io_port_set_enabled(port(), false);
	EXPECT_EQ(event->declaration_id, 0U);
	io_port_set_enabled(port(), true);
	EXPECT_NE(event->declaration_id, 0U);
}

TEST_F(EventTest, EveryEventOfAnEnabledPortIsDeclaredInTheListsOrder)
{
	IOEvent *second = add_event(kSupervisedPort);
	IOEvent *first = add_event("IOPort");
	io_port_list_add(port_);
	io_port_list_declare_events();
	EXPECT_NE(first->declaration_id, 0U);
	EXPECT_LT(first->declaration_id, second->declaration_id);
}

TEST_F(EventTest, FreeingAnEventWithdrawsIt)
{
	auto *event = new IOEvent;
	event->name = "IOPort";
	declare(event);
	io_event_free(event);
	EXPECT_THAT(fake_vxevent::declared(), IsEmpty());
}

TEST_F(EventTest, FreeingNoEventDoesNothing)
{
	io_event_free(nullptr);
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

using EventDeathTest = EventTest;

TEST_F(EventDeathTest, ResettingTheFilterOfNoEventIsAProgrammingError)
{
	EXPECT_DEATH(io_event_reset_filter(nullptr),
		     "ERROR:event\\.c:.*'event' should not be NULL");
}

} // namespace
