#include "dbus/iocontrol-conf-legacy-dbus.h"

#include "dbus/legacy-counts.h"
#include "dbus/legacy-get.h"
#include "dbus/legacy-object.h"
#include "dbus/legacy-set.h"
#include "ioport/port-list.h"
#include "ioport/port-seam.h"
#include "ioport/port-sequence.h"
#include "util/assert.h"
#include "util/bus-client.h"
#include "util/log.h"

// Generated C, not made for C++.
extern "C" {
#include <legacy-interfaces.h>
}

namespace
{

constexpr const char *kDescription =
	"/org/orvad/com.vexa.Configuration.Legacy.IOControl1.xml";
constexpr const char *kRegistrationFailure =
	"Unable to register objects on DBus";

using NodeInfoPtr = util::Handle<GDBusNodeInfo, g_dbus_node_info_unref>;
using BytesPtr = util::Handle<GBytes, g_bytes_unref>;

/// By PropertyObject.
constexpr const char *kInterfaces[] = {
	legacy::kInputInterface,
	legacy::kOutputInterface,
	legacy::kPortInterface,
};

GVariant *on_get_property(GDBusConnection *, const char *, const char *path,
			  const char *interface, const char *property,
			  GError **error, gpointer)
{
	return legacy_get_property(path, interface, property, error);
}

gboolean on_set_property(GDBusConnection *, const char *, const char *path,
			 const char *interface, const char *property,
			 GVariant *value, GError **error, gpointer)
{
	return legacy_set_property(path, interface, property, value, error);
}

/// The interfaces have no methods, so GDBus answers every call of one.
constexpr GDBusInterfaceVTable kHandlers = {
	nullptr, on_get_property, on_set_property, {}};

NodeInfoPtr parse_description()
{
	const BytesPtr text(g_resource_lookup_data(
		legacy_interfaces_get_resource(), kDescription,
		G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr));
	NodeInfoPtr info;
	if (text)
		info.reset(g_dbus_node_info_new_for_xml(
			static_cast<const char *>(
				g_bytes_get_data(text.get(), nullptr)),
			nullptr));
	if (!info)
		g_error("%s", kRegistrationFailure);
	return info;
}

util::ObjectPtr<GDBusConnection> connect()
{
	util::Error error;
	auto connection = util::system_bus(&error);
	if (!connection)
		g_error("Failed to connect to system bus: %s", error.message());
	return connection;
}

/// Kept until the objects are there, so that they find it.
util::ObjectPtr<GDBusConnection> early_connection;

/// A bus that has gone away is no failure of the start: the daemon is about to
/// end for that.
class LegacyController
{
public:
	LegacyController() : connection_(connect()), info_(parse_description())
	{
		register_objects();
		legacy_counts_init();
		request_name();
	}
	~LegacyController()
	{
		release_name();
		unregister_objects();
		legacy_counts_finalize();
	}
	LegacyController(const LegacyController &) = delete;
	LegacyController &operator=(const LegacyController &) = delete;

	GDBusConnection *connection() const
	{
		return connection_.get();
	}

private:
	void register_objects();
	void register_port(const IOPort *port);
	void register_interface(int number, const char *interface);
	void unregister_objects();
	void request_name();
	void release_name();
	util::VariantPtr call_bus(const char *method, GVariant *arguments,
				  int timeout, GError **error);
	bool bus_is_there() const
	{
		return !g_dbus_connection_is_closed(connection_.get());
	}

	util::ObjectPtr<GDBusConnection> connection_;
	bool name_owned_ = false;
	std::vector<guint> registrations_;
	NodeInfoPtr info_;
};

void LegacyController::register_interface(int number, const char *interface)
{
	util::Error error;
	const guint id = g_dbus_connection_register_object(
		connection_.get(), legacy::path_of(number).c_str(),
		g_dbus_node_info_lookup_interface(info_.get(), interface),
		&kHandlers, nullptr, nullptr, &error);
	if (id == 0) {
		util::print_err("iocontrol_conf_legacy_dbus_register_object@%d:"
				" Error: \"%s\" when registering DBUS object "
				"for port %d\n",
				__LINE__, error.message(), number);
		g_error("%s", kRegistrationFailure);
	}
	registrations_.push_back(id);
}

void LegacyController::register_port(const IOPort *port)
{
	register_interface(port->number, legacy::kPortInterface);
	if (port->type == PORT_INPUT || port->type == PORT_IO_CTRL)
		register_interface(port->number, legacy::kInputInterface);
	if (port->type == PORT_OUTPUT || port->type == PORT_IO_CTRL)
		register_interface(port->number, legacy::kOutputInterface);
}

/// Real ports have the numbers below the first virtual one.
void LegacyController::register_objects()
{
	const auto ports = io_port_list_get_numbered_ports(
		virtual_input_get_first_port_no());
	if (ports.empty() || ports.front()->number != legacy::kGlobalObject)
		register_interface(legacy::kGlobalObject,
				   legacy::kPortInterface);
	for (const PortRef &port : ports)
		register_port(port.get());
}

void LegacyController::unregister_objects()
{
	for (const guint id : registrations_) {
		if (!g_dbus_connection_unregister_object(connection_.get(), id))
			util::print_err("unreg_port_objects@%d: Failed to "
					"unregister object\n",
					__LINE__);
	}
}

util::VariantPtr LegacyController::call_bus(const char *method,
					    GVariant *arguments, int timeout,
					    GError **error)
{
	return util::VariantPtr(g_dbus_connection_call_sync(
		connection_.get(), "org.freedesktop.DBus",
		"/org/freedesktop/DBus", "org.freedesktop.DBus", method,
		arguments, G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE,
		timeout, nullptr, error));
}

void LegacyController::request_name()
{
	util::Error error;
	if (call_bus("RequestName", g_variant_new("(su)", legacy::kService, 0U),
		     G_MAXINT, &error))
		name_owned_ = true;
	else if (bus_is_there())
		g_error("Could not request name: %s", error.message());
}

void LegacyController::release_name()
{
	util::Error error;
	if (name_owned_ &&
	    !call_bus("ReleaseName", g_variant_new("(s)", legacy::kService), -1,
		      &error) &&
	    bus_is_there())
		g_warning("Could not release DBus name: %s", error.message());
}

std::unique_ptr<LegacyController> legacy_ctrl;

} // namespace

void iocontrol_conf_legacy_dbus_connect()
{
	early_connection = connect();
}

void iocontrol_conf_legacy_dbus_create()
{
	MODULE_ASSERT(legacy::kLegacyModule, legacy_ctrl == NULL);
	legacy_ctrl = std::make_unique<LegacyController>();
	early_connection.reset();
}

void iocontrol_conf_legacy_dbus_destroy()
{
	MODULE_ASSERT(legacy::kLegacyModule, legacy_ctrl != NULL);
	legacy_ctrl.reset();
}

void orvad_g_dbus_common_emit_property_changed_signal(const char *property,
						      const char *value,
						      int number,
						      PropertyObject object)
{
	if (!legacy_ctrl)
		return;
	const std::string path = legacy::path_of(number);
	if (object < PROPERTY_INPUT || object > PROPERTY_PORT ||
	    !g_variant_is_object_path(path.c_str()))
		return;
	GVariantBuilder changed;
	g_variant_builder_init(&changed, G_VARIANT_TYPE_VARDICT);
	g_variant_builder_add(&changed, "{sv}", property,
			      g_variant_new_bytestring(value));
	util::Error error;
	if (!g_dbus_connection_emit_signal(
		    legacy_ctrl->connection(), nullptr, path.c_str(),
		    "org.freedesktop.DBus.Properties", "PropertiesChanged",
		    g_variant_new("(sa{sv}as)", kInterfaces[object], &changed,
				  nullptr),
		    &error))
		g_log(nullptr, util::kLogLevelUser,
		      "%s Failed to emit configuration changed signal: %s",
		      __func__, error.message());
}
