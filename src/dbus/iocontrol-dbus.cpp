#include "dbus/iocontrol-dbus.h"

#include "dbus/connector-handlers.h"
#include "dbus/exported.h"
#include "dbus/iocontrol-handlers.h"
#include "ioport/port-seam.h"

namespace
{

constexpr int kBusPatienceMs = 1000;

GDBusInterfaceSkeleton *make_state_interface()
{
	IOControlState *skeleton = iocontrol_state_skeleton_new();
	iocontrol_connect_handlers(skeleton);
	return G_DBUS_INTERFACE_SKELETON(skeleton);
}

Exported state_interface({
	.name = "com.vexa.IOControl.State",
	.path = "/com/vexa/IOControl/State",
	.make = make_state_interface,
	.failure = "Failed to register IOControl state dbus interface",
});

GDBusInterfaceSkeleton *make_connector_interface()
{
	QELConnector *skeleton = qelconnector_skeleton_new();
	connector_connect_handlers(skeleton);
	return G_DBUS_INTERFACE_SKELETON(skeleton);
}

Exported connector_interface({
	.name = "com.vexa.QEL.Connector",
	.path = "/com/vexa/QEL/Connector",
	.make = make_connector_interface,
	.failure = "Failed to register Connector dbus interface",
});

/// The connection that the signals go out on, or none.
util::ObjectPtr<GDBusConnection> connection_in_use()
{
	util::ObjectPtr<GDBusConnection> connection;
	state_interface.use([&connection](GDBusInterfaceSkeleton *skeleton) {
		connection.reset(static_cast<GDBusConnection *>(g_object_ref(
			g_dbus_interface_skeleton_get_connection(skeleton))));
	});
	return connection;
}

} // namespace

bool iocontrol_init_dbus()
{
	state_interface.start();
	connector_interface.start();
	return true;
}

bool iocontrol_unreg_dbus()
{
	state_interface.stop();
	connector_interface.stop();
	return true;
}

void iocontrol_emit_port_changed(int number, bool virtual_port, bool hidden,
				 bool input, bool virtual_trig, bool state,
				 bool activelow)
{
	state_interface.use([=](GDBusInterfaceSkeleton *skeleton) {
		iocontrol_state_emit_port_changed(
			IOCONTROL_STATE(skeleton), number, virtual_port, hidden,
			input, virtual_trig, state, activelow);
	});
}

/// The bus answers in order, so its answer follows what was sent before.
void iocontrol_wait_for_bus()
{
	const auto connection = connection_in_use();
	if (!connection)
		return;
	const util::VariantPtr reply(g_dbus_connection_call_sync(
		connection.get(), "org.freedesktop.DBus",
		"/org/freedesktop/DBus", "org.freedesktop.DBus.Peer", "Ping",
		nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, kBusPatienceMs,
		nullptr, nullptr));
}

void iocontrol_emit_action_sequence_done(int number)
{
	state_interface.use([=](GDBusInterfaceSkeleton *skeleton) {
		iocontrol_state_emit_action_sequence_done(
			IOCONTROL_STATE(skeleton), number);
	});
}
