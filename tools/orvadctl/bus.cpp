#include "bus.h"

#include "error.h"
#include "report.h"

#include <unistd.h>

namespace orvadctl
{

namespace
{

/// An error that the user can do something about.
struct KnownError {
	bool (*matches)(const GError *error);
	const char *sentence;
};

bool says_no_reply(const GError *error)
{
	return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY);
}

bool says_bus_gone(const GError *error)
{
	return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED);
}

bool says_denied(const GError *error)
{
	return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED);
}

/// The first that matches counts.
constexpr KnownError KNOWN_ERRORS[] = {
	{says_service_missing, "the port daemon is not running; start it with "
			       "\"systemctl start orvad\""},
	{says_no_answer, "the port daemon does not answer; try again with a "
			 "longer --timeout, or restart it with \"systemctl "
			 "restart orvad\""},
	{says_object_missing, "the port daemon is just starting or ending; try "
			      "again in a moment"},
	{says_no_reply, "the port daemon went away without an answer; try "
			"again once it is back"},
	{says_bus_gone, "the system bus went away; try again once it is back"},
};

/// Null for an error that is not known.
const char *advice(const GError *error)
{
	for (const KnownError &known : KNOWN_ERRORS)
		if (known.matches(error))
			return known.sentence;
	return says_denied(error) ? denied_advice(geteuid()) : nullptr;
}

/// What to do about a bus that cannot be reached.
const char *bus_advice()
{
	return g_getenv("DBUS_SYSTEM_BUS_ADDRESS")
		       ? "correct DBUS_SYSTEM_BUS_ADDRESS, or unset it"
		       : "start it with \"systemctl start dbus\"";
}

} // namespace

ConnectionPtr open_bus(GError **error)
{
	util::Error bus_error;
	ConnectionPtr connection(
		g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &bus_error));

	if (!connection) {
		set_failure(error, "cannot reach the system bus: %s; %s",
			    bus_error.message(), bus_advice());
		return nullptr;
	}
	g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
	return connection;
}

StatePtr open_daemon(gint timeout_ms, GError **error)
{
	ConnectionPtr connection = open_bus(error);

	if (!connection)
		return nullptr;
	auto flags = static_cast<GDBusProxyFlags>(
		G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
		G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS |
		G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START_AT_CONSTRUCTION);
	StatePtr daemon(iocontrol_state_proxy_new_sync(connection.get(), flags,
						       STATE_NAME, STATE_PATH,
						       nullptr, error));
	if (!daemon) {
		explain_call_error(error);
		return nullptr;
	}
	g_dbus_proxy_set_default_timeout(G_DBUS_PROXY(daemon.get()),
					 timeout_ms);
	return daemon;
}

bool fetch_ports(IOControlState *daemon, std::vector<Port> &ports,
		 GError **error)
{
	gint number = 0;
	GVariant *listed = nullptr;

	if (!iocontrol_state_call_get_port_props_sync(daemon, &number, &listed,
						      nullptr, error)) {
		explain_call_error(error);
		return false;
	}
	util::VariantPtr owned(listed);
	return ports_from_variant(listed, ports, error);
}

const char *denied_advice(uid_t user)
{
	return user == 0
		       ? "the bus does not let even root do that; see that "
			 "/usr/share/dbus-1/system.d/com.vexa.IOControl.conf "
			 "is there, and have the bus read it with \"systemctl "
			 "reload dbus\""
		       : "the bus does not let this user do that; do it as "
			 "root or as a member of the group qel-control; "
			 "membership counts from the next login on";
}

void explain_call_error(GError **error)
{
	if (!error || !*error)
		return;
	if (const char *sentence = advice(*error)) {
		g_clear_error(error);
		set_failure(error, "%s", sentence);
		return;
	}
	g_dbus_error_strip_remote_error(*error);
}

void explain_port_error(GError **error, const Port &port)
{
	explain_call_error(error);
	g_prefix_error(error,
		       "%s: ", port_label(port.number, port.name).c_str());
}

void explain_interface_error(GError **error, const char *what)
{
	if (!error || !*error || !says_not_served(*error)) {
		explain_call_error(error);
		return;
	}
	g_clear_error(error);
	set_failure(error, "the port daemon does not serve %s", what);
}

bool says_service_missing(const GError *error)
{
	return g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_SERVICE_UNKNOWN) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_NAME_HAS_NO_OWNER);
}

bool says_service_gone(const GError *error)
{
	return says_service_missing(error) ||
	       g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY);
}

bool says_not_served(const GError *error)
{
	return says_service_missing(error) || says_object_missing(error);
}

bool says_no_answer(const GError *error)
{
	return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
	       g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMEOUT) ||
	       g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_TIMED_OUT);
}

bool says(const GError *error, const char *name)
{
	util::CharPtr said(g_dbus_error_get_remote_error(error));

	return g_strcmp0(said.get(), name) == 0;
}

bool says_object_missing(const GError *error)
{
	return g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_UNKNOWN_METHOD) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_UNKNOWN_OBJECT) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_UNKNOWN_INTERFACE);
}

bool check_arguments(GVariant *arguments, const char *type, const char *what)
{
	if (g_variant_is_of_type(arguments, G_VARIANT_TYPE(type)))
		return true;
	report_line(std::string("ignored ") + what +
		    " with arguments of type \"" +
		    g_variant_get_type_string(arguments) + "\"");
	return false;
}

Subscription::Subscription(GDBusConnection *connection, const char *sender,
			   const char *interface, const char *path,
			   const char *signal, GDBusSignalCallback handler,
			   gpointer user_data)
	: connection_(connection),
	  id_(g_dbus_connection_signal_subscribe(
		  connection, sender, interface, signal, path, nullptr,
		  G_DBUS_SIGNAL_FLAGS_NONE, handler, user_data, nullptr))
{
}

Subscription::~Subscription()
{
	g_dbus_connection_signal_unsubscribe(connection_, id_);
}

NameWatch::NameWatch(GDBusConnection *connection, const char *name,
		     std::function<void()> appeared,
		     std::function<void()> vanished)
	: appeared_(std::move(appeared)), vanished_(std::move(vanished))
{
	id_ = g_bus_watch_name_on_connection(
		connection, name, G_BUS_NAME_WATCHER_FLAGS_NONE,
		[](GDBusConnection *, const char *, const char *,
		   gpointer self) {
			static_cast<NameWatch *>(self)->appeared_();
		},
		[](GDBusConnection *, const char *, gpointer self) {
			static_cast<NameWatch *>(self)->vanished_();
		},
		this, nullptr);
}

NameWatch::~NameWatch()
{
	g_bus_unwatch_name(id_);
}

} // namespace orvadctl
