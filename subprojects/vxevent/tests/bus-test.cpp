#include "bus-client.h"
#include "error-holder.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace
{

using Signals = std::vector<std::string>;

TestBus &the_bus()
{
	static TestBus bus;
	return bus;
}

// A declaration like that of a port: "port" is 3, "state" has no value and is
// what the state is, "text" has no value.
DeclarationPtr port_declaration(EventStateGetter getter = nullptr,
				gpointer user_data = nullptr)
{
	DeclarationPtr declaration(event_declaration_new());
	const gint32 port = 3;
	event_declaration_add_key_value(declaration.get(), "port",
					EVENT_VALUE_INT, &port, nullptr);
	event_declaration_add_key(declaration.get(), "state", EVENT_VALUE_BOOL,
				  nullptr);
	event_declaration_add_key(declaration.get(), "text", EVENT_VALUE_STRING,
				  nullptr);
	event_declaration_set_property(declaration.get(), "state", getter,
				       user_data, nullptr);
	return declaration;
}

constexpr auto kPortDescription =
	"{'type': <''>, 'property': <'state'>, 'keys': <{'port': <3>}>, "
	"'nice-names': <{'port': ('', ''), 'state': ('', ''), "
	"'text': ('', '')}>, 'namespaces': <@a{ss} {}>, "
	"'tags': <@a{sas} {}>}";

// A producer "test" that clients see.
class BusTest : public testing::Test
{
protected:
	void SetUp() override
	{
		ASSERT_TRUE(ask_until([this] { return client_.sees_name(); }));
		ASSERT_EQ(client_.call("test", "ListDeclarations").error_name,
			  "");
	}
	void TearDown() override
	{
		producer_.reset();
		EXPECT_TRUE(ask_until([this] { return !client_.sees_name(); }));
	}

	guint32 declare(EventStateGetter getter = nullptr,
			gpointer user_data = nullptr)
	{
		return event_producer_declare(
			producer_.get(),
			port_declaration(getter, user_data).get(), nullptr);
	}
	void send_state(guint32 id, gboolean state)
	{
		const EventPtr event(event_producer_prepare_event(
			producer_.get(), id, nullptr));
		EXPECT_TRUE(event_set_value(event.get(), "state",
					    EVENT_VALUE_BOOL, &state, nullptr));
		EXPECT_TRUE(event_producer_send_event(producer_.get(),
						      event.get(), nullptr));
	}
	void undeclare(guint32 id)
	{
		EXPECT_TRUE(
			event_producer_undeclare(producer_.get(), id, nullptr));
	}
	std::string state_of(guint32 id)
	{
		const auto answer = client_.get_state(id);
		EXPECT_EQ(answer.error_name, "") << answer.error_text;
		return answer.values;
	}

	BusClient client_{the_bus().address()};
	ProducerPtr producer_{event_producer_new("test")};
};

TEST_F(BusTest, ListsTheLiveDeclarations)
{
	EXPECT_EQ(client_.call("test", "ListDeclarations").values, "([],)");
	declare();
	const auto second = declare();
	declare();
	undeclare(second);
	EXPECT_EQ(client_.call("test", "ListDeclarations").values,
		  std::string("([(1, ") + kPortDescription + "), (3, " +
			  kPortDescription + ")],)");
}

TEST_F(BusTest, AnnouncesEachCallInItsOrder)
{
	const auto first = declare();
	send_state(first, TRUE);
	const auto second = declare();
	send_state(second, FALSE);
	undeclare(first);
	send_state(second, FALSE);
	undeclare(second);
	ASSERT_TRUE(client_.wait_for_signals(7));
	EXPECT_EQ(client_.signals(),
		  Signals({std::string("test.Declared(1, ") + kPortDescription +
				   ")",
			   "test.Event(1, {'port': <3>, 'state': <true>})",
			   std::string("test.Declared(2, ") + kPortDescription +
				   ")",
			   "test.Event(2, {'port': <3>, 'state': <false>})",
			   "test.Undeclared(1,)",
			   "test.Event(2, {'port': <3>, 'state': <false>})",
			   "test.Undeclared(2,)"}));
}

TEST_F(BusTest, AnnouncesNothingForARefusedCall)
{
	const auto id = declare();
	const EventPtr event(
		event_producer_prepare_event(producer_.get(), id, nullptr));
	undeclare(id);
	EXPECT_FALSE(event_producer_send_event(producer_.get(), event.get(),
					       nullptr));
	EXPECT_FALSE(event_producer_undeclare(producer_.get(), id, nullptr));
	declare();
	ASSERT_TRUE(client_.wait_for_signals(3));
	EXPECT_EQ(client_.signals()[1], "test.Undeclared(1,)");
	EXPECT_EQ(client_.signals()[2],
		  std::string("test.Declared(2, ") + kPortDescription + ")");
}

TEST_F(BusTest, TellsTheDeclaredValuesBeforeTheFirstEvent)
{
	EXPECT_EQ(state_of(declare()), "({'port': <3>},)");
}

TEST_F(BusTest, TellsTheLastValuesSent)
{
	const auto id = declare();
	send_state(id, FALSE);
	send_state(id, TRUE);
	EXPECT_EQ(state_of(id), "({'port': <3>, 'state': <true>},)");
}

// What a getter is to answer, and how often it has been asked.
struct Getter {
	bool has_value = true;
	gboolean state = FALSE;
	int calls = 0;
	std::thread::id thread;

	static gboolean answer(Event *event, gpointer data)
	{
		auto *const self = static_cast<Getter *>(data);
		self->calls++;
		self->thread = std::this_thread::get_id();
		EXPECT_TRUE(event_set_value(event, "state", EVENT_VALUE_BOOL,
					    &self->state, nullptr));
		return self->has_value;
	}
};

TEST_F(BusTest, TellsWhatTheGetterAnswersOverTheLastValuesSent)
{
	Getter getter;
	const auto id = declare(Getter::answer, &getter);
	send_state(id, TRUE);
	EXPECT_EQ(state_of(id), "({'port': <3>, 'state': <false>},)");
	getter.state = TRUE;
	EXPECT_EQ(state_of(id), "({'port': <3>, 'state': <true>},)");
	EXPECT_EQ(getter.calls, 2);
}

TEST_F(BusTest, TellsTheLastValuesSentWhenTheGetterHasNone)
{
	Getter getter;
	getter.has_value = false;
	const auto id = declare(Getter::answer, &getter);
	EXPECT_EQ(state_of(id), "({'port': <3>},)");
	send_state(id, TRUE);
	EXPECT_EQ(state_of(id), "({'port': <3>, 'state': <true>},)");
}

TEST_F(BusTest, ForgetsWhatAGetterAnswered)
{
	Getter getter;
	const auto id = declare(Getter::answer, &getter);
	EXPECT_EQ(state_of(id), "({'port': <3>, 'state': <false>},)");
	getter.has_value = false;
	EXPECT_EQ(state_of(id), "({'port': <3>},)");
}

TEST_F(BusTest, AsksTheGetterOnTheMainLoopOnly)
{
	Getter getter;
	guint32 id = 0;
	std::jthread([&] {
		id = declare(Getter::answer, &getter);
		send_state(id, TRUE);
	}).join();
	EXPECT_TRUE(client_.wait_for_signals(2));
	client_.call("test", "ListDeclarations");
	EXPECT_EQ(getter.calls, 0);
	state_of(id);
	EXPECT_EQ(getter.calls, 1);
	EXPECT_EQ(getter.thread, std::this_thread::get_id());
}

TEST_F(BusTest, RefusesTheStateOfWhatIsNotDeclared)
{
	const auto id = declare();
	undeclare(id);
	for (const auto unknown : {id, 0u, id + 1, G_MAXUINT32}) {
		const auto answer = client_.get_state(unknown);
		EXPECT_EQ(answer.error_name,
			  "org.freedesktop.DBus.Error.InvalidArgs");
		EXPECT_EQ(answer.error_text,
			  "There is no declaration with the id " +
				  std::to_string(unknown));
	}
}

TEST_F(BusTest, RefusesArgumentsOfAnotherType)
{
	declare();
	for (auto *const arguments :
	     {g_variant_new("(s)", "1"), g_variant_new("(i)", 1),
	      g_variant_new("()"), g_variant_new("(uu)", 1, 1)})
		EXPECT_EQ(
			client_.call("test", "GetState", arguments).error_name,
			"org.freedesktop.DBus.Error.InvalidArgs");
}

// A getter that uses the library itself, as no lock is held around it.
struct BusyGetter {
	EventProducer *producer;
	guint32 id;

	static gboolean send(Event *, gpointer data)
	{
		const auto *const self = static_cast<BusyGetter *>(data);
		const EventPtr event(event_producer_prepare_event(
			self->producer, self->id, nullptr));
		const gboolean state = TRUE;
		event_set_value(event.get(), "state", EVENT_VALUE_BOOL, &state,
				nullptr);
		event_producer_send_event(self->producer, event.get(), nullptr);
		return FALSE;
	}
	static gboolean undeclare(Event *, gpointer data)
	{
		const auto *const self = static_cast<BusyGetter *>(data);
		EXPECT_TRUE(event_producer_undeclare(self->producer, self->id,
						     nullptr));
		return TRUE;
	}
	static gboolean free_producer(Event *, gpointer data)
	{
		auto *const self = static_cast<BusyGetter *>(data);
		event_producer_free(self->producer);
		self->producer = nullptr;
		return TRUE;
	}
};

TEST_F(BusTest, TellsWhatIsSentWhileTheGetterRuns)
{
	BusyGetter getter{producer_.get(), 0};
	getter.id = declare(BusyGetter::send, &getter);
	EXPECT_EQ(state_of(getter.id), "({'port': <3>, 'state': <true>},)");
}

TEST_F(BusTest, RefusesTheStateOfWhatIsWithdrawnWhileTheGetterRuns)
{
	BusyGetter getter{producer_.get(), 0};
	getter.id = declare(BusyGetter::undeclare, &getter);
	EXPECT_EQ(client_.get_state(getter.id).error_name,
		  "org.freedesktop.DBus.Error.InvalidArgs");
}

TEST_F(BusTest, AnswersWhenTheProducerIsFreedWhileTheGetterRuns)
{
	BusyGetter getter{producer_.release(), 0};
	getter.id = event_producer_declare(
		getter.producer,
		port_declaration(BusyGetter::free_producer, &getter).get(),
		nullptr);
	EXPECT_EQ(client_.get_state(getter.id).error_name,
		  "org.freedesktop.DBus.Error.InvalidArgs");
	EXPECT_EQ(getter.producer, nullptr);
}

TEST_F(BusTest, WithdrawsEverythingWithTheProducer)
{
	declare();
	declare();
	ASSERT_TRUE(client_.wait_for_signals(2));
	client_.forget_signals();
	producer_.reset();
	ASSERT_TRUE(client_.wait_for_signals(2));
	EXPECT_EQ(client_.signals(),
		  Signals({"test.Undeclared(1,)", "test.Undeclared(2,)"}));
	EXPECT_TRUE(ask_until([this] { return !client_.sees_name(); }));
}

TEST_F(BusTest, KeepsTheNameWhileThereIsAProducer)
{
	ProducerPtr other(event_producer_new("other"));
	ASSERT_TRUE(ask_until([this] {
		return client_.call("other", "ListDeclarations")
			.error_name.empty();
	}));
	producer_.reset();
	EXPECT_EQ(client_.call("test", "ListDeclarations").error_name,
		  "org.freedesktop.DBus.Error.UnknownMethod");
	EXPECT_TRUE(ask_until([this] { return client_.sees_name(); }));
	EXPECT_EQ(client_.call("other", "ListDeclarations").values, "([],)");
}

TEST_F(BusTest, TakesTheNameAgainForALaterProducer)
{
	producer_.reset();
	producer_.reset(event_producer_new("later"));
	EXPECT_EQ(declare(), 1u);
	ASSERT_TRUE(client_.wait_for_signals(1));
	EXPECT_EQ(client_.signals()[0],
		  std::string("later.Declared(1, ") + kPortDescription + ")");
	EXPECT_TRUE(ask_until([this] { return client_.sees_name(); }));
}

TEST_F(BusTest, KeepsProducersApart)
{
	ProducerPtr other(event_producer_new("other"));
	declare();
	declare();
	EXPECT_EQ(event_producer_declare(other.get(), port_declaration().get(),
					 nullptr),
		  1u);
	ASSERT_TRUE(client_.wait_for_signals(3));
	EXPECT_EQ(client_.signals()[2],
		  std::string("other.Declared(1, ") + kPortDescription + ")");
}

} // namespace
