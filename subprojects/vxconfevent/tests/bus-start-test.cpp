#include "bus-client.h"

#include <gtest/gtest.h>

namespace
{

// As in a daemon, whose main loop does not run yet.
TEST(BusStart, SendsBeforeTheMainLoopRunsOnTheSharedConnection)
{
	TestBus bus;
	BusClient client(bus.address());
	EXPECT_EQ(client.connections(), 1u);
	const TestHandle<GDBusConnection, g_object_unref> shared(
		g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
	g_dbus_connection_set_exit_on_close(shared.get(), TRUE);
	const ProducerPtr producer(event_producer_new("test"));
	const HandlePtr handle(configuration_event_new(producer.get(), "test"));
	configuration_event_declare(handle.get(), "a.b", "/a", nullptr);
	const ChangePtr change(configuration_change_new());
	configuration_change_append_escaped(change.get(), "n", "1");
	EXPECT_TRUE(configuration_event_send(
		handle.get(), "a.b", "/a", "a.b", "/a",
		CONFIGURATION_CHANGE_PROPERTY, change.get(), nullptr));
	ASSERT_TRUE(client.wait_for_signals(1));
	EXPECT_EQ(client.signals()[0],
		  "test.Changed('a.b', '/a', 'a.b', '/a', 3, 'n 1')");
	EXPECT_EQ(client.connections(), 2u);
	EXPECT_FALSE(g_dbus_connection_get_exit_on_close(shared.get()));
}

} // namespace
