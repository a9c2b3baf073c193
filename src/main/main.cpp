/// Start-up, the main loop, shutdown. The order of the steps is a contract:
/// later ones depend on what earlier ones leave behind.

#include "dbus/bus-watch.h"
#include "dbus/iocontrol-conf-legacy-dbus.h"
#include "dbus/iocontrol-dbus.h"
#include "dbus/iosupervised-dbus.h"
#include "dbus/service-registry.h"
#include "events/actionengine-dbus.h"
#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "main/conf-reader.h"
#include "main/privileges.h"
#include "main/settings.h"
#include "platform/virtual-input.h"
#include "util/glib-ptr.h"
#include "util/identity.h"
#include "util/paths.h"
#include "util/process-state.h"
#include "util/scoped-source.h"

#include <glib-unix.h>
#include <vxlog.h>

#include <csignal>
#include <sys/stat.h>

namespace
{

util::MainLoopPtr main_loop;
util::ScopedSource term_source;
util::ScopedSource hup_source;

gboolean on_signal(gpointer user_data)
{
	switch (GPOINTER_TO_INT(user_data)) {
	case SIGHUP:
		g_info("Got SIGHUP");
		break;
	case SIGTERM:
		g_info("Got SIGTERM");
		g_main_loop_quit(main_loop.get());
		util::running = false;
		break;
	}
	return G_SOURCE_CONTINUE;
}

/// GLib gives a signal its deadly default action back with the last source for
/// it. This one is left for GLib to keep, so that a daemon that is told to end
/// twice still ends in order.
void keep_from_killing(int number)
{
	static_cast<void>(g_unix_signal_source_new(number));
}

guint watch_signal(int number)
{
	keep_from_killing(number);
	return g_unix_signal_add(number, on_signal, GINT_TO_POINTER(number));
}

/// Half a daemon is worse than none: the service manager starts it again.
void on_bus_lost()
{
	g_main_loop_quit(main_loop.get());
	util::running = false;
}

/// False when the daemon cannot start.
bool start()
{
	service_registry_clean_up();
	conf_read_configuration(util::kPortConfiguration);
	conf_read_drop_dir(util::kDropInDirectory);
	if (!load_settings())
		return false;
	io_port_list_setup();
	if (use_legacy_interface())
		generate_service_registry();
	drop_privileges(util::kServiceUser);
	if (use_legacy_interface())
		iocontrol_conf_legacy_dbus_connect();
	bus_watch_init(on_bus_lost);
	actionengine_dbus_init();
	iocontrol_init_dbus();
	iosupervised_init_dbus();
	if (use_legacy_interface())
		iocontrol_conf_legacy_dbus_create();
	io_port_list_set_watch();
	io_port_list_declare_events();
	virtual_input_init();
	return true;
}

void stop()
{
	if (use_legacy_interface())
		iocontrol_conf_legacy_dbus_destroy();
	iosupervised_unreg_dbus();
	iocontrol_unreg_dbus();
	actionengine_dbus_finalize();
	virtual_input_finalize();
	bus_watch_finalize();
	term_source.reset();
	hup_source.reset();
	io_port_list_free();
	io_port_abort_sequences();
	io_port_join_sequences();
}

} // namespace

int main(int argc, char **argv)
{
	util::read_command_line(argc, argv);
	vx_log_stdout();
	// The daemon outlives whoever reads its log, and what root writes must
	// be readable for the user that the daemon runs as afterwards.
	std::signal(SIGPIPE, SIG_IGN);
	umask(S_IWGRP | S_IWOTH);
	main_loop.reset(g_main_loop_new(nullptr, FALSE));
	term_source.reset(watch_signal(SIGTERM));
	hup_source.reset(watch_signal(SIGHUP));
	if (!start())
		return 1;
	g_main_loop_run(main_loop.get());
	stop();
	return 0;
}
