#include "bus.h"

#include <utility>

namespace vxevent
{

namespace
{

constexpr auto kName = "org.orvad.Events1";
constexpr auto kBusName = "org.freedesktop.DBus";
constexpr auto kBusPath = "/org/freedesktop/DBus";
constexpr guint32 kQueueForName = 0;

} // namespace

Bus &Bus::instance()
{
	// Never destroyed: a thread may send until the process has ended.
	static Bus &bus = *new Bus;
	return bus;
}

void Bus::attach(const std::shared_ptr<Producer> &producer)
{
	const std::lock_guard lock(mutex_);
	producers_.push_back(producer);
	g_idle_add_full(G_PRIORITY_DEFAULT, on_main_loop, nullptr, nullptr);
}

void Bus::detach(const std::shared_ptr<Producer> &producer)
{
	const std::lock_guard lock(mutex_);
	producers_.remove(producer);
	producer->withdraw();
	if (producers_.empty() && std::exchange(has_name_, false))
		call_bus("ReleaseName", g_variant_new("(s)", kName));
}

gboolean Bus::on_main_loop(gpointer) noexcept
{
	instance().reach();
	return G_SOURCE_REMOVE;
}

void Bus::reach()
{
	const std::lock_guard lock(mutex_);
	if (connection_)
		publish();
	else if (!producers_.empty() && !std::exchange(connecting_, true))
		g_bus_get(G_BUS_TYPE_SYSTEM, nullptr, on_connected, nullptr);
}

void Bus::on_connected(GObject *, GAsyncResult *result, gpointer) noexcept
{
	instance().connected(
		ObjectPtr<GDBusConnection>(g_bus_get_finish(result, nullptr)));
}

void Bus::connected(ObjectPtr<GDBusConnection> connection)
{
	const std::lock_guard lock(mutex_);
	connecting_ = false;
	if (!connection)
		return;
	// What a lost bus means is the process's own affair.
	g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
	connection_ = std::move(connection);
	publish();
}

void Bus::publish()
{
	for (const auto &producer : producers_)
		producer->publish(connection_.get());
	// Last: who sees the name finds the objects.
	if (!producers_.empty() && !std::exchange(has_name_, true))
		call_bus("RequestName",
			 g_variant_new("(su)", kName, kQueueForName));
}

void Bus::call_bus(const char *method, GVariant *arguments)
{
	g_dbus_connection_call(connection_.get(), kBusName, kBusPath, kBusName,
			       method, arguments, nullptr,
			       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr,
			       nullptr);
}

} // namespace vxevent
