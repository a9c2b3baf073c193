#include "bus-client.h"

#include <gtest/gtest.h>

namespace
{

TEST(BusStart, IsWhenTheMainLoopRuns)
{
	// A bus that is named only afterwards, and not asked before: a look at
	// it in event_producer_new() would find none, now and later.
	g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
	const ProducerPtr producer(event_producer_new("test"));
	const DeclarationPtr declaration(event_declaration_new());
	event_declaration_add_key(declaration.get(), "state", EVENT_VALUE_BOOL,
				  nullptr);
	EXPECT_EQ(event_producer_declare(producer.get(), declaration.get(),
					 nullptr),
		  1u);

	const TestBus bus;
	BusClient client(bus.address());
	ASSERT_TRUE(client.wait_for_signals(1));
	ASSERT_EQ(client.signals().size(), 1u);
	EXPECT_TRUE(client.signals()[0].starts_with(
		"test.Declared(1, {'type': <''>"));
	EXPECT_TRUE(ask_until([&] { return client.sees_name(); }));
	EXPECT_EQ(client.connections(), 2u);
}

} // namespace
