#include "bare-bus.h"

#include "util/glib-ptr.h"

#include <glib-unix.h>

#include <csignal>

namespace
{

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

void serve(IOControlState *skeleton, const char *name)
{
	const util::MainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
	const guint owner = g_bus_own_name(
		G_BUS_TYPE_SYSTEM, name, G_BUS_NAME_OWNER_FLAGS_NONE,
		on_bus_acquired, nullptr, nullptr, skeleton, nullptr);
	const guint term = g_unix_signal_add(SIGTERM, on_term, loop.get());
	g_main_loop_run(loop.get());
	g_source_remove(term);
	g_bus_unown_name(owner);
}
