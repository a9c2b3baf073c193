#include "dbus/iocontrol-dbus.h"

#include "dbus/iocontrol-handlers.h"
#include "ioport/port-seam.h"
#include "util/glib-ptr.h"

#include <iocontrol-state-glue.h>

#include <mutex>

namespace
{

using StatePtr = util::ObjectPtr<IOControlState>;

constexpr const char *kName = "com.vexa.IOControl.State";
constexpr const char *kPath = "/com/vexa/IOControl/State";
constexpr int kBusPatienceMs = 1000;

guint io_control_owner_id = 0;
/// Guards state_interface, and is held over each signal, which action threads
/// emit, too: the interface must not be taken off the bus meanwhile.
std::mutex state_mutex;
StatePtr state_interface;

void on_bus_acquired(GDBusConnection *connection, const char *, gpointer)
{
	StatePtr skeleton(iocontrol_state_skeleton_new());
	iocontrol_connect_handlers(skeleton.get());
	if (!g_dbus_interface_skeleton_export(
		    G_DBUS_INTERFACE_SKELETON(skeleton.get()), connection,
		    kPath, nullptr)) {
		g_warning("Failed to register IOControl state dbus interface");
		return;
	}
	const std::lock_guard guard(state_mutex);
	state_interface = std::move(skeleton);
}

} // namespace

bool iocontrol_init_dbus()
{
	io_control_owner_id = g_bus_own_name(
		G_BUS_TYPE_SYSTEM, kName, G_BUS_NAME_OWNER_FLAGS_NONE,
		on_bus_acquired, nullptr, nullptr, nullptr, nullptr);
	return true;
}

bool iocontrol_unreg_dbus()
{
	{
		const std::lock_guard guard(state_mutex);
		if (state_interface)
			g_dbus_interface_skeleton_unexport(
				G_DBUS_INTERFACE_SKELETON(
					state_interface.get()));
		state_interface.reset();
	}
	if (io_control_owner_id != 0)
		g_bus_unown_name(std::exchange(io_control_owner_id, 0));
	return true;
}

void iocontrol_emit_port_changed(int number, bool virtual_port, bool hidden,
				 bool input, bool virtual_trig, bool state,
				 bool activelow)
{
	const std::lock_guard guard(state_mutex);
	if (state_interface)
		iocontrol_state_emit_port_changed(
			state_interface.get(), number, virtual_port, hidden,
			input, virtual_trig, state, activelow);
}

/// The bus answers in order, so its answer follows what was sent before.
void iocontrol_wait_for_bus()
{
	util::ObjectPtr<GDBusConnection> connection;
	{
		const std::lock_guard guard(state_mutex);
		if (!state_interface)
			return;
		connection.reset(static_cast<GDBusConnection *>(
			g_object_ref(g_dbus_interface_skeleton_get_connection(
				G_DBUS_INTERFACE_SKELETON(
					state_interface.get())))));
	}
	const util::VariantPtr reply(g_dbus_connection_call_sync(
		connection.get(), "org.freedesktop.DBus",
		"/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "Ping",
		nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, kBusPatienceMs,
		nullptr, nullptr));
}

void iocontrol_emit_action_sequence_done(int number)
{
	const std::lock_guard guard(state_mutex);
	if (state_interface)
		iocontrol_state_emit_action_sequence_done(state_interface.get(),
							  number);
}
