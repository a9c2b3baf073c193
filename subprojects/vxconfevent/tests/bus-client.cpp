#include "bus-client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace
{

constexpr guint kPatienceSeconds = 60;
constexpr auto kBusName = "org.freedesktop.DBus";
constexpr auto kBusPath = "/org/freedesktop/DBus";

gboolean set_flag(gpointer flag)
{
	*static_cast<bool *>(flag) = true;
	return G_SOURCE_CONTINUE;
}

/// An answer, which is null for an error.
void on_answer(GObject *connection, GAsyncResult *result, gpointer answer)
{
	static_cast<std::optional<VariantPtr> *>(answer)->emplace(
		g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection),
					      result, nullptr));
}

} // namespace

bool run_until(const std::function<bool()> &condition)
{
	bool late = false;
	const guint timeout =
		g_timeout_add_seconds(kPatienceSeconds, set_flag, &late);
	bool holds = false;
	while (!(holds = condition()) && !late)
		g_main_context_iteration(nullptr, TRUE);
	g_source_remove(timeout);
	return holds;
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
		  connection_.get(), nullptr, kInterface, nullptr, nullptr,
		  nullptr, G_DBUS_SIGNAL_FLAGS_NONE, on_signal, this, nullptr))
{
	// Answered after the subscription has arrived.
	EXPECT_TRUE(call_bus("GetId", nullptr));
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
	const TestHandle<char, g_free> text(g_variant_print(arguments, FALSE));
	static_cast<BusClient *>(data)->signals_.push_back(
		object.substr(object.rfind('/') + 1) + "." + member +
		text.get());
}

bool BusClient::wait_for_signals(std::size_t count)
{
	return run_until([&] { return signals_.size() >= count; });
}

VariantPtr BusClient::call(const char *name, const char *path,
			   const char *interface, const char *method,
			   GVariant *arguments)
{
	std::optional<VariantPtr> answer;
	g_dbus_connection_call(connection_.get(), name, path, interface, method,
			       arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
			       nullptr, on_answer, &answer);
	EXPECT_TRUE(run_until([&] { return answer.has_value(); })) << method;
	return std::move(*answer);
}

VariantPtr BusClient::call_bus(const char *method, GVariant *arguments)
{
	return call(kBusName, kBusPath, kBusName, method, arguments);
}

bool BusClient::sees_name()
{
	const auto answer =
		call_bus("NameHasOwner", g_variant_new("(s)", kName));
	gboolean there = FALSE;
	g_variant_get(answer.get(), "(b)", &there);
	return there;
}

bool BusClient::wait_for_name(bool there)
{
	return run_until([&] { return sees_name() == there; });
}

bool BusClient::sees_object(const std::string &path)
{
	const auto answer =
		call(kName, path.c_str(), "org.freedesktop.DBus.Introspectable",
		     "Introspect", nullptr);
	const char *text = "";
	if (answer)
		g_variant_get(answer.get(), "(&s)", &text);
	return std::string(text).find(kInterface) != std::string::npos;
}

std::size_t BusClient::connections()
{
	const auto answer = call_bus("ListNames", nullptr);
	const VariantPtr names(g_variant_get_child_value(answer.get(), 0));
	const TestHandle<const char *, g_free> list(
		g_variant_get_strv(names.get(), nullptr));
	const auto is_connection = [](const char *name) {
		return *name == ':';
	};
	const auto *end = list.get() + g_variant_n_children(names.get());
	return static_cast<std::size_t>(std::count_if(
		list.get(), const_cast<const char **>(end), is_connection));
}
