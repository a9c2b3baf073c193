#include "error-holder.h"
#include "log-watch.h"
#include "test-handles.h"

namespace
{

TEST(NoBus, LeavesEverythingWorkingInSilence)
{
	g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
	const ExpectSilence silence;
	ErrorHolder error;
	const ProducerPtr producer(event_producer_new("test"));
	HandlePtr handle(configuration_event_new(producer.get(), "test"));
	ASSERT_TRUE(handle);
	const ChangePtr change(configuration_change_new());
	configuration_change_append_escaped(change.get(), "n", "1");

	EXPECT_TRUE(
		configuration_event_declare(handle.get(), "a.b", "/a", &error));
	EXPECT_TRUE(configuration_event_send(
		handle.get(), "a.b", "/a", "a.b", "/a",
		CONFIGURATION_CHANGE_PROPERTY, change.get(), &error));
	EXPECT_TRUE(configuration_event_undeclare(handle.get(), "a.b", "/a",
						  &error));
	EXPECT_FALSE(error.is_set());
	EXPECT_FALSE(configuration_event_send(
		handle.get(), "a.b", "/a", "a.b", "/a",
		CONFIGURATION_CHANGE_PROPERTY, change.get(), &error));
	EXPECT_TRUE(error.is(CONFIGURATION_ERROR_NOT_DECLARED,
			     "a.b of /a is not declared"));
	handle.reset();
	while (g_main_context_iteration(nullptr, FALSE))
		;
}

} // namespace
