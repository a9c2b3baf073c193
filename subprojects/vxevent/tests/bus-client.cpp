#include "bus-client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace
{

constexpr guint kPatienceSeconds = 60;

gboolean set_flag(gpointer flag)
{
	*static_cast<bool *>(flag) = true;
	return G_SOURCE_CONTINUE;
}

bool patiently(const std::function<bool()> &condition, gboolean may_block)
{
	bool late = false;
	const guint timeout =
		g_timeout_add_seconds(kPatienceSeconds, set_flag, &late);
	bool holds = false;
	while (!(holds = condition()) && !late)
		g_main_context_iteration(nullptr, may_block);
	g_source_remove(timeout);
	return holds;
}

Answer answer_of(GObject *connection, GAsyncResult *result)
{
	GError *error = nullptr;
	auto *const values = g_dbus_connection_call_finish(
		G_DBUS_CONNECTION(connection), result, &error);
	if (values != nullptr) {
		Answer answer{text_of(values), "", ""};
		g_variant_unref(values);
		return answer;
	}
	const TestHandle<char, g_free> name(
		g_dbus_error_get_remote_error(error));
	g_dbus_error_strip_remote_error(error);
	Answer answer{"", name ? name.get() : "local", error->message};
	g_error_free(error);
	return answer;
}

void on_answer(GObject *connection, GAsyncResult *result, gpointer answer)
{
	*static_cast<std::optional<Answer> *>(answer) =
		answer_of(connection, result);
}

} // namespace

bool run_until(const std::function<bool()> &condition)
{
	return patiently(condition, TRUE);
}

bool ask_until(const std::function<bool()> &condition)
{
	return patiently(condition, FALSE);
}

TestBus::TestBus() : bus_(g_test_dbus_new(G_TEST_DBUS_NONE))
{
	g_test_dbus_up(bus_.get());
	g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address(), TRUE);
}

TestBus::~TestBus()
{
	g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
	if (address() != nullptr)
		stop();
}

void TestBus::stop()
{
	g_test_dbus_stop(bus_.get());
}

const char *TestBus::address() const
{
	return g_test_dbus_get_bus_address(bus_.get());
}

BusClient::BusClient(const char *address)
	: connection_(g_dbus_connection_new_for_address_sync(
		  address,
		  GDBusConnectionFlags(
			  G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
			  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
		  nullptr, nullptr, nullptr)),
	  subscription_(g_dbus_connection_signal_subscribe(
		  connection_.get(), nullptr, kProducerInterface, nullptr,
		  nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, on_signal, this,
		  nullptr))
{
	// Answered after the subscription has arrived; the main loop, and the
	// library with it, stands still meanwhile.
	const VariantPtr id(g_dbus_connection_call_sync(
		connection_.get(), "org.freedesktop.DBus",
		"/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId",
		nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
		nullptr));
	EXPECT_TRUE(id);
}

BusClient::~BusClient()
{
	g_dbus_connection_signal_unsubscribe(connection_.get(), subscription_);
	g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr);
}

void BusClient::on_signal(GDBusConnection *, const gchar *, const gchar *path,
			  const gchar *, const gchar *member,
			  GVariant *arguments, gpointer data)
{
	const std::string object(path);
	static_cast<BusClient *>(data)->signals_.push_back(
		object.substr(object.rfind('/') + 1) + "." + member +
		text_of(arguments));
}

bool BusClient::wait_for_signals(std::size_t count)
{
	return run_until([&] { return signals_.size() >= count; });
}

Answer BusClient::call_object(const char *name, const char *path,
			      const char *interface, const char *method,
			      GVariant *arguments)
{
	std::optional<Answer> answer;
	g_dbus_connection_call(connection_.get(), name, path, interface, method,
			       arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
			       nullptr, on_answer, &answer);
	EXPECT_TRUE(run_until([&] { return answer.has_value(); })) << method;
	return *answer;
}

Answer BusClient::call(const char *producer, const char *method,
		       GVariant *arguments)
{
	const auto path = std::string("/org/orvad/Events1/") + producer;
	return call_object(kEventsName, path.c_str(), kProducerInterface,
			   method, arguments);
}

Answer BusClient::get_state(guint32 id)
{
	return call("test", "GetState", g_variant_new("(u)", id));
}

bool BusClient::sees_name()
{
	return call_object("org.freedesktop.DBus", "/org/freedesktop/DBus",
			   "org.freedesktop.DBus", "NameHasOwner",
			   g_variant_new("(s)", kEventsName))
		       .values == "(true,)";
}

std::size_t BusClient::connections()
{
	const auto names =
		call_object("org.freedesktop.DBus", "/org/freedesktop/DBus",
			    "org.freedesktop.DBus", "ListNames", nullptr)
			.values;
	return static_cast<std::size_t>(std::ranges::count(names, ':'));
}
