// What all ports share for the life of the process: the producer and the
// "PortAny" declaration. Whatever makes one runs in a process of its own, in
// which nothing has been declared yet.

#include "event-fixture.h"
#include "ioport/port-settings.h"

#include <functional>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

class SharedEventTest : public EventTest
{
protected:
	/// A second input in service, with a "PortAny" event.
	SharedEventTest()
	{
		other_->number = 4;
		fake_backends::bind_full(other_.get());
		other_->is_setup = true;
		io_port_list_add(other_);
		other_any_->name = "PortAny";
		recorder::reset();
	}
	guint32 declare_other()
	{
		io_event_declare_event(other_.get(), other_any_);
		return other_any_->declaration_id;
	}
	void set_other_level(int level)
	{
		fake_backends::data(other_.get())->level = level;
	}
	/// The failures of @p body are the test's.
	void in_a_new_process(const std::function<void()> &body)
	{
		EXPECT_EXIT(
			{
				body();
				std::exit(HasFailure());
			},
			testing::ExitedWithCode(EXIT_SUCCESS), "");
	}

	PortRef other_ = PortRef::adopt(io_port_new());
	IOEvent *other_any_ = other_->events.emplace_front(new IOEvent).get();
	IOEvent *any_ = add_event("PortAny");
};

using ProducerDeathTest = SharedEventTest;
using PortAnyDeathTest = SharedEventTest;

TEST_F(ProducerDeathTest, IsMadeOnceWithTheFirstDeclaration)
{
	EXPECT_THAT(recorder::calls(), IsEmpty());
	in_a_new_process([this] {
		declare(add_event("IOPort"));
		declare(add_event("com.example.Door"));
		EXPECT_EQ(recorder::calls().front(), "event_producer_new(qel)");
		EXPECT_EQ(recorder::count("event_producer_new"), 1U);
	});
}

TEST_F(ProducerDeathTest, IsMadeEvenIfTheFirstEventDoesNotApply)
{
	any_->for_input = false;
	in_a_new_process([this] {
		declare(any_);
		EXPECT_THAT(recorder::calls(),
			    ElementsAre("event_producer_new(qel)"));
	});
}

TEST_F(PortAnyDeathTest, IsDeclaredInFull)
{
	in_a_new_process([this] {
		EXPECT_THAT(fake_vxevent::contents(declare(any_)),
			    ElementsAre("key port int -1", "key state bool",
					"key topic0 string Device",
					"key topic1 string IO",
					"key topic2 string Port",
					"nice-names topic1 - \"Input ports\"",
					"nice-names topic2 - \"Digital input "
					"port\"",
					"nice-names port \"Port\" \"Any\"",
					"nice-names state \"Active\" -",
					"name-space topic0 \"tns1\"",
					"name-space topic1 \"tnsvexa\"",
					"name-space topic2 \"tnsvexa\"",
					"tag port \"onvif-source\"",
					"tag state \"onvif-data\"",
					"property state"));
	});
}

TEST_F(PortAnyDeathTest, IsOneDeclarationForAllPorts)
{
	in_a_new_process([this] {
		const guint32 id = declare(any_);
		EXPECT_NE(id, 0U);
		EXPECT_EQ(declare_other(), id);
		EXPECT_EQ(recorder::count("event_producer_declare"), 1U);
		EXPECT_THAT(fake_vxevent::declared(), ElementsAre(id));
	});
}

TEST_F(PortAnyDeathTest, HasNoIdOnAPortThatItDoesNotApplyTo)
{
	other_any_->for_input = false;
	in_a_new_process([this] {
		declare(any_);
		EXPECT_EQ(declare_other(), 0U);
	});
}

TEST_F(PortAnyDeathTest, IsNeverWithdrawn)
{
	in_a_new_process([this] {
		const guint32 id = declare(any_);
		io_event_undeclare_event(any_);
		EXPECT_EQ(any_->declaration_id, id);
		io_event_redeclare_port(port(), any_);
		EXPECT_EQ(any_->declaration_id, id);
		port_->events.clear();
		EXPECT_EQ(recorder::count("event_producer_undeclare"), 0U);
		EXPECT_EQ(recorder::count("event_producer_declare"), 1U);
		EXPECT_THAT(fake_vxevent::declared(), ElementsAre(id));
	});
}

TEST_F(PortAnyDeathTest, StaysDeclaredOnADisabledPort)
{
	in_a_new_process([this] {
		const guint32 id = declare(any_);
		io_port_set_enabled(port(), false);
		EXPECT_EQ(any_->declaration_id, id);
		EXPECT_THAT(fake_vxevent::declared(), ElementsAre(id));
	});
}

TEST_F(PortAnyDeathTest, IsDeclaredLaterWhenTheLibraryRefusedAtFirst)
{
	in_a_new_process([this] {
		fake_vxevent::fail("event_producer_declare");
		EXPECT_EQ(declare(any_), 0U);
		EXPECT_FALSE(send(any_, 1));
		fake_vxevent::reset();
		EXPECT_NE(declare_other(), 0U);
		EXPECT_EQ(declare(any_), other_any_->declaration_id);
	});
}

TEST_F(PortAnyDeathTest, IsSentWithTheStateOfThePortThatChanged)
{
	set_other_level(1);
	in_a_new_process([this] {
		const guint32 id = declare(any_);
		declare_other();
		EXPECT_TRUE(send(any_, 0));
		EXPECT_TRUE(send(any_, 1));
		EXPECT_THAT(fake_vxevent::sent(),
			    ElementsAre(Sent{id, {"state bool 0"}},
					Sent{id, {"state bool 1"}}));
	});
}

TEST_F(PortAnyDeathTest, IsFilteredPerPort)
{
	any_->for_supervised = true;
	other_any_->for_supervised = true;
	in_a_new_process([this] {
		declare(any_);
		declare_other();
		EXPECT_TRUE(send(any_, 1));
		EXPECT_FALSE(send(any_, 1));
		EXPECT_TRUE(io_event_send_event(other_.get(), other_any_, 1));
	});
}

TEST_F(PortAnyDeathTest, IsNeverSentWhenItIsDeclareOnly)
{
	any_->declare_only = true;
	in_a_new_process([this] {
		EXPECT_NE(declare(any_), 0U);
		EXPECT_FALSE(send(any_, 1));
		EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
	});
}

TEST_F(PortAnyDeathTest, IsNotSentWithoutItsSharedDeclaration)
{
	any_->declaration_id = 1;
	EXPECT_FALSE(send(any_, 1));
	EXPECT_THAT(log_.warnings(), ElementsAre("PortAny event not declared"));
	EXPECT_THAT(fake_vxevent::sent(), IsEmpty());
}

TEST_F(PortAnyDeathTest, TheGetterTellsWhetherAnyEnabledPortIsActive)
{
	io_port_list_add(port_);
	in_a_new_process([this] {
		const guint32 id = declare(any_);
		const auto active = Optional(Lines{"state bool 1"});
		const auto inactive = Optional(Lines{"state bool 0"});
		EXPECT_THAT(fake_vxevent::ask(id), inactive);
		set_other_level(1);
		EXPECT_THAT(fake_vxevent::ask(id), active);
		other_->enabled = false;
		EXPECT_THAT(fake_vxevent::ask(id), inactive);
		set_level(1);
		EXPECT_THAT(fake_vxevent::ask(id), active);
	});
}

TEST_F(PortAnyDeathTest, TheGetterOverlooksPortsWithoutAPortAnyEvent)
{
	io_port_list_add(port_);
	set_level(1);
	any_->name = "IOPort";
	in_a_new_process([this] {
		EXPECT_THAT(fake_vxevent::ask(declare_other()),
			    Optional(Lines{"state bool 0"}));
	});
}

} // namespace
