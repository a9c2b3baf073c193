#include "dbus/bus-watch.h"

#include "dbus/call-gate.h"
#include "util/glib-ptr.h"

namespace
{

using CancellablePtr = util::ObjectPtr<GCancellable>;

void (*bus_lost)() = nullptr;
util::ObjectPtr<GDBusConnection> bus_connection;
gulong closed_handler = 0;
CancellablePtr connecting;

void on_closed(GDBusConnection *, gboolean, GError *, gpointer)
{
	g_warning("The system bus went away");
	bus_lost();
}

void on_connected(GObject *, GAsyncResult *result, gpointer)
{
	util::Error error;
	GDBusConnection *connection = g_bus_get_finish(result, &error);
	if (connection == nullptr) {
		if (!g_error_matches(error.get(), G_IO_ERROR,
				     G_IO_ERROR_CANCELLED))
			g_warning("Cannot reach the system bus: %s",
				  error.message());
		return;
	}
	bus_connection.reset(connection);
	g_dbus_connection_set_exit_on_close(connection, FALSE);
	call_gate_guard(connection);
	// The connection may have closed before anybody listened, and then the
	// signal may or may not come yet.
	if (g_dbus_connection_is_closed(connection))
		on_closed(connection, FALSE, nullptr, nullptr);
	else
		closed_handler = g_signal_connect(
			connection, "closed", G_CALLBACK(on_closed), nullptr);
}

} // namespace

void bus_watch_init(void (*lost)())
{
	bus_lost = lost;
	connecting.reset(g_cancellable_new());
	g_bus_get(G_BUS_TYPE_SYSTEM, connecting.get(), on_connected, nullptr);
}

void bus_watch_finalize()
{
	if (connecting)
		g_cancellable_cancel(connecting.get());
	connecting.reset();
	if (closed_handler != 0)
		g_signal_handler_disconnect(bus_connection.get(),
					    std::exchange(closed_handler, 0));
	bus_connection.reset();
}
