#include "bus-client.h"
#include "error-holder.h"
#include "log-watch.h"

namespace
{

TEST(LostBus, LeavesEverythingWorkingInSilence)
{
	TestBus bus;
	const ProducerPtr producer(event_producer_new("test"));
	HandlePtr handle(configuration_event_new(producer.get(), "test"));
	{
		BusClient client(bus.address());
		ASSERT_TRUE(client.wait_for_name(true));
	}
	// The library's connection is the one that the process shares.
	const TestHandle<GDBusConnection, g_object_unref> connection(
		g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
	ASSERT_TRUE(connection);

	const ExpectSilence silence;
	bus.stop();
	ASSERT_TRUE(run_until(
		[&] { return g_dbus_connection_is_closed(connection.get()); }));
	ErrorHolder error;
	EXPECT_TRUE(
		configuration_event_declare(handle.get(), "a.b", "/a", &error));
	const ChangePtr change(configuration_change_new());
	EXPECT_TRUE(configuration_event_send(
		handle.get(), "a.b", "/a", "a.b", "/a",
		CONFIGURATION_CHANGE_PROPERTY, change.get(), &error));
	EXPECT_TRUE(configuration_event_undeclare(handle.get(), "a.b", "/a",
						  &error));
	handle.reset();
	while (g_main_context_iteration(nullptr, FALSE))
		;
	EXPECT_FALSE(error.is_set());
}

} // namespace
