// A port's action thread sends its events while the main thread withdraws and
// declares them.

#include "event-fixture.h"
#include "ioport/port-state.h"

#include <thread>

namespace
{

using testing::AnyOf;
using testing::Each;
using testing::IsEmpty;
using testing::StartsWith;

constexpr int kRounds = 2000;

class EventThreadedTest : public EventTest
{
protected:
	/// Sends @p event over and over until the test is done with it.
	std::jthread send_meanwhile(IOEvent *event)
	{
		return std::jthread([this, event](std::stop_token stop) {
			for (int state = 0; !stop.stop_requested();
			     state = 1 - state) {
				results_ += send(event, state);
				++attempts_;
			}
		});
	}
	/// Lets the sender have its turn, however the threads are scheduled.
	void await_attempt() const
	{
		const long seen = attempts_;
		while (attempts_ == seen)
			std::this_thread::yield();
	}
	/// Withdraws and declares @p event again and again while it is sent.
	void churn(IOEvent *event)
	{
		declare(event);
		const size_t before = fake_vxevent::sent().size();
		std::jthread sender = send_meanwhile(event);
		for (int round = 0; round < kRounds; ++round) {
			io_event_undeclare_event(event);
			io_event_redeclare_port(port(), event);
			io_event_reset_filter(event);
			if (round % 100 == 0)
				await_attempt();
		}
		sender.request_stop();
		sender.join();
		sent_meanwhile_ = fake_vxevent::sent().size() - before;
	}

	std::atomic<long> results_ = 0;
	std::atomic<long> attempts_ = 0;
	size_t sent_meanwhile_ = 0;
};

TEST_F(EventThreadedTest, APortEventIsSentWithALiveIdOrNotAtAll)
{
	IOEvent *event = add_event("IOPort");
	churn(event);
	EXPECT_EQ(static_cast<size_t>(results_.load()), sent_meanwhile_);
	EXPECT_THAT(log_.warnings(), Each("Error sending event: not declared"));
	EXPECT_THAT(fake_vxevent::declared(),
		    testing::ElementsAre(event->declaration_id));
}

TEST_F(EventThreadedTest, AFilteredEventIsSentWithALiveIdOrNotAtAll)
{
	supervise(SUPERVISED_SHORT);
	IOEvent *event = add_event("com.vexa.Event.Qel.SupervisedPort");
	event->for_supervised = true;
	churn(event);
	EXPECT_EQ(static_cast<size_t>(results_.load()), sent_meanwhile_);
	EXPECT_THAT(log_.warnings(), Each("Error sending event: not declared"));
}

TEST_F(EventThreadedTest, AConfiguredEventIsSentWithALiveIdOrNotAtAll)
{
	IOEvent *event = add_event("com.example.Door");
	event->keys = {event_key("active", "bool", "PORT_STATUS", true)};
	churn(event);
	EXPECT_THAT(log_.warnings(),
		    Each(AnyOf("Error sending event: not declared",
			       StartsWith("Failed to prepare event: "
					  "com.example.Door id: "))));
	EXPECT_EQ(fake_vxevent::sent().back().values,
		  Lines{"value active bool \"0\""});
}

TEST_F(EventThreadedTest, NothingIsSentAfterTheWithdrawal)
{
	IOEvent *event = add_event("IOPort");
	declare(event);
	std::jthread sender = send_meanwhile(event);
	await_attempt();
	io_event_undeclare_event(event);
	await_attempt();
	await_attempt();
	const size_t sent = fake_vxevent::sent().size();
	await_attempt();
	EXPECT_EQ(fake_vxevent::sent().size(), sent);
}

TEST_F(EventThreadedTest, TheGetterMayBeAskedWhileAnotherThreadSends)
{
	io_port_list_add(port_);
	IOEvent *event = add_event("IOPort");
	const guint32 id = declare(event);
	const std::jthread sender = send_meanwhile(event);
	for (int round = 0; round < kRounds; ++round) {
		set_level(round % 2);
		EXPECT_EQ(fake_vxevent::ask(id),
			  Lines{round % 2 != 0 ? "state bool 1"
					       : "state bool 0"});
	}
}

} // namespace
