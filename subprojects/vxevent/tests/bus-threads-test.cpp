#include "bus-client.h"
#include "error-holder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

namespace
{

constexpr int kSenders = 4;
constexpr gint32 kEvents = 400;
constexpr int kRounds = 300;
constexpr auto kInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

TestBus &the_bus()
{
	static TestBus bus;
	return bus;
}

gboolean answer_minus_one(Event *event, gpointer)
{
	const gint32 count = -1;
	return event_set_value(event, "count", EVENT_VALUE_INT, &count,
			       nullptr);
}

DeclarationPtr counter_declaration()
{
	DeclarationPtr declaration(event_declaration_new());
	event_declaration_add_key(declaration.get(), "count", EVENT_VALUE_INT,
				  nullptr);
	event_declaration_set_property(declaration.get(), "count",
				       answer_minus_one, nullptr, nullptr);
	return declaration;
}

// Sends one count. False, with the one error that may be, when the declaration
// was withdrawn.
bool send_count(EventProducer *producer, guint32 id, gint32 count)
{
	ErrorHolder error;
	const EventPtr event(
		event_producer_prepare_event(producer, id, &error));
	const bool sent =
		event &&
		event_set_value(event.get(), "count", EVENT_VALUE_INT, &count,
				&error) &&
		event_producer_send_event(producer, event.get(), &error);
	EXPECT_TRUE(sent || error.is(EVENT_ERROR_NOT_DECLARED));
	return sent;
}

class BusThreads : public testing::Test
{
protected:
	void SetUp() override
	{
		ASSERT_TRUE(ask_until([this] { return client_.sees_name(); }));
	}

	guint32 declare()
	{
		return event_producer_declare(
			producer_.get(), counter_declaration().get(), nullptr);
	}
	// Sends on a declaration of its own, and counts what went out.
	void count_up(guint32 id)
	{
		for (gint32 count = 0; count < kEvents; count++)
			signals_sent_ += send_count(producer_.get(), id, count);
		running_--;
	}
	// Sends on whatever was declared last.
	void send_on_latest()
	{
		while (running_ > 1)
			signals_sent_ +=
				send_count(producer_.get(), latest_id_, 0);
		running_--;
	}
	void declare_and_undeclare()
	{
		for (int round = 0; round < kRounds; round++) {
			latest_id_ = declare();
			EXPECT_TRUE(event_producer_undeclare(
				producer_.get(), latest_id_, nullptr));
			signals_sent_ += 2;
		}
		running_--;
	}
	// A client that asks for what there is and for the state of it.
	void ask_until_done()
	{
		while (running_ > 0) {
			const auto list =
				client_.call("test", "ListDeclarations");
			EXPECT_EQ(list.error_name, "") << list.error_text;
			EXPECT_EQ(client_.get_state(1).values,
				  "({'count': <-1>},)");
			const auto latest = client_.get_state(latest_id_);
			EXPECT_TRUE(latest.error_name.empty() ||
				    latest.error_name == kInvalidArgs)
				<< latest.error_name;
		}
	}

	BusClient client_{the_bus().address()};
	ProducerPtr producer_{event_producer_new("test")};
	std::atomic<int> running_ = 0;
	std::atomic<guint32> latest_id_ = 0;
	std::atomic<std::size_t> signals_sent_ = 0;
};

// Checks that signals tell a story that can be: every id is declared once,
// in ascending order, then has its events, then is withdrawn.
class Story
{
public:
	void tell(const std::string &signal)
	{
		std::string name;
		guint32 id = 0;
		auto text = signal;
		std::ranges::replace(text, '(', ' ');
		std::ranges::replace(text, ',', ' ');
		std::istringstream(text) >> name >> id;
		if (name == "test.Declared")
			declared(id);
		else if (name == "test.Undeclared")
			EXPECT_EQ(live_.erase(id), 1u) << signal;
		else
			event(id, signal);
	}
	// The id's events in their order.
	const std::vector<std::string> &events_of(guint32 id)
	{
		return events_[id];
	}

private:
	void declared(guint32 id)
	{
		EXPECT_EQ(id, last_id_ + 1);
		last_id_ = id;
		live_[id] = true;
	}
	void event(guint32 id, const std::string &signal)
	{
		EXPECT_TRUE(live_.contains(id)) << signal;
		events_[id].push_back(signal);
	}

	guint32 last_id_ = 0;
	std::map<guint32, bool> live_;
	std::map<guint32, std::vector<std::string>> events_;
};

TEST_F(BusThreads, SendInTheOrderOfTheirCalls)
{
	for (int sender = 1; sender <= kSenders; sender++)
		ASSERT_EQ(declare(), static_cast<guint32>(sender));
	signals_sent_ = kSenders;
	{
		running_ = kSenders + 2;
		std::vector<std::jthread> threads;
		for (guint32 id = 1; id <= kSenders; id++)
			threads.emplace_back([this, id] { count_up(id); });
		threads.emplace_back([this] { declare_and_undeclare(); });
		threads.emplace_back([this] { send_on_latest(); });
		ask_until_done();
	}
	ASSERT_TRUE(client_.wait_for_signals(signals_sent_));

	Story story;
	for (const auto &signal : client_.signals())
		story.tell(signal);
	for (guint32 id = 1; id <= kSenders; id++) {
		const auto &events = story.events_of(id);
		ASSERT_EQ(events.size(), static_cast<std::size_t>(kEvents));
		for (gint32 count = 0; count < kEvents; count++)
			EXPECT_EQ(events[static_cast<std::size_t>(count)],
				  "test.Event(" + std::to_string(id) +
					  ", {'count': <" +
					  std::to_string(count) + ">})");
	}
}

TEST_F(BusThreads, FreeAProducerThatAClientIsAsking)
{
	constexpr int kProducers = 50;
	for (int round = 0; round < kProducers; round++) {
		auto *const other = event_producer_new("other");
		ASSERT_TRUE(ask_until([this] {
			return client_.call("other", "ListDeclarations")
				.error_name.empty();
		}));
		std::atomic<bool> freed = false;
		std::jthread thread([&] {
			event_producer_free(other);
			freed = true;
		});
		while (!freed)
			client_.call("other", "ListDeclarations");
		EXPECT_EQ(client_.call("other", "ListDeclarations").error_name,
			  "org.freedesktop.DBus.Error.UnknownMethod");
	}
}

} // namespace
