/// What GDBus itself costs: a service with the daemon's generated interface
/// and handlers that do nothing but answer.
///
///     bare-service NAME

#include "util/glib-ptr.h"

#include <glib-unix.h>
#include <iocontrol-state-glue.h>

#include <csignal>

namespace
{

using Invocation = GDBusMethodInvocation;

gboolean on_get_state(IOControlState *object, Invocation *invocation, guint,
		      gpointer)
{
	iocontrol_state_complete_get_state(object, invocation, FALSE);
	return TRUE;
}

gboolean on_set_virtual(IOControlState *object, Invocation *invocation,
			guint number, gboolean state, gpointer)
{
	iocontrol_state_emit_port_changed(object, static_cast<gint>(number),
					  TRUE, FALSE, FALSE, TRUE, state,
					  FALSE);
	iocontrol_state_complete_set_virtual(object, invocation);
	return TRUE;
}

void on_bus_acquired(GDBusConnection *connection, const char *,
		     gpointer user_data)
{
	g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(user_data),
					 connection,
					 "/com/vexa/IOControl/State", nullptr);
}

gboolean on_term(gpointer loop)
{
	g_main_loop_quit(static_cast<GMainLoop *>(loop));
	return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char **argv)
{
	if (argc != 2) {
		g_printerr("usage: %s NAME\n", argv[0]);
		return 2;
	}
	const util::MainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
	const util::ObjectPtr<IOControlState> skeleton(
		iocontrol_state_skeleton_new());
	g_signal_connect(skeleton.get(), "handle-get-state",
			 G_CALLBACK(on_get_state), nullptr);
	g_signal_connect(skeleton.get(), "handle-set-virtual",
			 G_CALLBACK(on_set_virtual), nullptr);
	const guint owner = g_bus_own_name(
		G_BUS_TYPE_SYSTEM, argv[1], G_BUS_NAME_OWNER_FLAGS_NONE,
		on_bus_acquired, nullptr, nullptr, skeleton.get(), nullptr);
	g_unix_signal_add(SIGTERM, on_term, loop.get());
	g_main_loop_run(loop.get());
	g_bus_unown_name(owner);
	return 0;
}
