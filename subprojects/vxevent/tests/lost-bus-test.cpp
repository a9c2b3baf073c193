#include "bus-client.h"
#include "error-holder.h"
#include "log-watch.h"

namespace
{

TEST(LostBus, LeavesEverythingWorkingInSilence)
{
	TestBus bus;
	ErrorHolder error;
	ProducerPtr producer(event_producer_new("test"));
	const DeclarationPtr declaration(event_declaration_new());
	event_declaration_add_key(declaration.get(), "state", EVENT_VALUE_BOOL,
				  nullptr);
	{
		BusClient client(bus.address());
		ASSERT_TRUE(ask_until([&] { return client.sees_name(); }));
	}
	// The library's connection is the one that the process shares.
	const TestHandle<GDBusConnection, g_object_unref> connection(
		g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
	ASSERT_TRUE(connection);

	const ExpectSilence silence;
	bus.stop();
	ASSERT_TRUE(run_until(
		[&] { return g_dbus_connection_is_closed(connection.get()); }));
	while (g_main_context_iteration(nullptr, FALSE))
		;
	const auto id = event_producer_declare(producer.get(),
					       declaration.get(), &error);
	EXPECT_EQ(id, 1u);
	const EventPtr event(
		event_producer_prepare_event(producer.get(), id, &error));
	ASSERT_TRUE(event) << error.text();
	EXPECT_TRUE(
		event_producer_send_event(producer.get(), event.get(), &error));
	producer.reset();
	EXPECT_FALSE(error.is_set()) << error.text();
}

} // namespace
