#include "bus-client.h"
#include "error-holder.h"
#include "log-watch.h"

namespace
{

void on_no_bus(GObject *, GAsyncResult *result, gpointer failed)
{
	const TestHandle<GDBusConnection, g_object_unref> connection(
		g_bus_get_finish(result, nullptr));
	EXPECT_FALSE(connection);
	*static_cast<bool *>(failed) = true;
}

// Lets the library look for the bus, and one of us after it.
void look_for_the_bus()
{
	while (g_main_context_iteration(nullptr, FALSE))
		;
	bool failed = false;
	g_bus_get(G_BUS_TYPE_SYSTEM, nullptr, on_no_bus, &failed);
	EXPECT_TRUE(run_until([&] { return failed; }));
	while (g_main_context_iteration(nullptr, FALSE))
		;
}

TEST(NoBus, LeavesEverythingWorkingInSilence)
{
	g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
	const ExpectSilence silence;
	ErrorHolder error;
	const ProducerPtr producer(event_producer_new("test"));
	const DeclarationPtr declaration(event_declaration_new());
	event_declaration_add_key(declaration.get(), "state", EVENT_VALUE_BOOL,
				  nullptr);
	look_for_the_bus();

	const auto id = event_producer_declare(producer.get(),
					       declaration.get(), &error);
	EXPECT_EQ(id, 1u);
	const EventPtr event(
		event_producer_prepare_event(producer.get(), id, &error));
	ASSERT_TRUE(event) << error.text();
	EXPECT_TRUE(
		event_producer_send_event(producer.get(), event.get(), &error));
	EXPECT_TRUE(event_producer_undeclare(producer.get(), id, &error));
	EXPECT_FALSE(error.is_set()) << error.text();
	look_for_the_bus();
}

} // namespace
