#include "vxconfevent.h"

#include "vxconfevent-glue.h"

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace
{

constexpr auto kName = "org.orvad.ConfigurationEvents1";
constexpr auto kPathPrefix = "/org/orvad/ConfigurationEvents1/";
constexpr auto kBusName = "org.freedesktop.DBus";
constexpr auto kBusPath = "/org/freedesktop/DBus";
constexpr guint32 kQueueForName = 0;

template <auto Function> struct Deleter {
	template <typename T> void operator()(T *object) const
	{
		Function(object);
	}
};

template <typename T, auto Function>
using Handle = std::unique_ptr<T, Deleter<Function>>;
template <typename T> using ObjectPtr = Handle<T, g_object_unref>;
using CharPtr = Handle<char, g_free>;

/// As in C; what is beyond ASCII stays.
std::string escape(const char *text)
{
	std::string kept;
	for (int byte = 0x80; byte <= 0xff; ++byte)
		kept += static_cast<char>(byte);
	return CharPtr(g_strescape(text, kept.c_str())).get();
}

/// The first blank of a line ends the name.
std::string escape_name(const char *name)
{
	std::string escaped;
	for (const char c : escape(name)) {
		if (c == ' ')
			escaped += "\\040";
		else
			escaped += c;
	}
	return escaped;
}

/// Whether a name can be an element of an object path.
bool is_element(const char *name)
{
	return name != nullptr && *name != '\0' &&
	       std::strchr(name, '/') == nullptr &&
	       g_variant_is_object_path(
		       (std::string(kPathPrefix) + name).c_str());
}

/// How many handles are on the bus; they share the name.
unsigned handles = 0;

/// Without waiting for an answer, which g_bus_unown_name() does.
void call_bus(GDBusConnection *connection, const char *method,
	      GVariant *arguments)
{
	g_dbus_connection_call(connection, kBusName, kBusPath, kBusName, method,
			       arguments, nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
			       nullptr, nullptr, nullptr);
}

gboolean fail(GError **error, ConfigurationError code, const char *what,
	      const char *interface, const char *object)
{
	g_set_error(error, CONFIGURATION_ERROR, code, "%s of %s is %s",
		    interface, object, what);
	return FALSE;
}

} // namespace

struct ConfigurationChange {
	std::string text;
};

/// One object on the bus, or none, and what is declared.
struct ConfigurationEvent {
	explicit ConfigurationEvent(const std::string &path)
		: skeleton(vxconfevent_configuration_events1_skeleton_new())
	{
		connect(path);
	}
	~ConfigurationEvent()
	{
		if (!exported)
			return;
		if (--handles == 0)
			call_bus(connection.get(), "ReleaseName",
				 g_variant_new("(s)", kName));
		g_dbus_interface_skeleton_unexport(
			G_DBUS_INTERFACE_SKELETON(skeleton.get()));
	}
	ConfigurationEvent(const ConfigurationEvent &) = delete;
	ConfigurationEvent &operator=(const ConfigurationEvent &) = delete;

	ObjectPtr<GDBusConnection> connection;
	ObjectPtr<VxconfeventConfigurationEvents1> skeleton;
	bool exported = false;
	/// Interface and object.
	std::set<std::pair<std::string, std::string>> declared;

private:
	void connect(const std::string &path)
	{
		connection.reset(
			g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
		if (!connection)
			return;
		// What a lost bus means is the process's own affair.
		g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
		exported = g_dbus_interface_skeleton_export(
			G_DBUS_INTERFACE_SKELETON(skeleton.get()),
			connection.get(), path.c_str(), nullptr);
		// Last: who sees the name finds the object.
		if (exported && handles++ == 0)
			call_bus(connection.get(), "RequestName",
				 g_variant_new("(su)", kName, kQueueForName));
	}
};

GQuark configuration_error_quark(void)
{
	return g_quark_from_static_string("vxconfevent-error-quark");
}

ConfigurationEvent *configuration_event_new(EventProducer *producer,
					    const gchar *name)
{
	g_return_val_if_fail(producer != nullptr, nullptr);
	g_return_val_if_fail(is_element(name), nullptr);
	return std::make_unique<ConfigurationEvent>(std::string(kPathPrefix) +
						    name)
		.release();
}

void configuration_event_free(ConfigurationEvent *event)
{
	delete event;
}

gboolean configuration_event_declare(ConfigurationEvent *event,
				     const gchar *interface,
				     const gchar *object, GError **error)
{
	return event->declared.emplace(interface, object).second ||
	       fail(error, CONFIGURATION_ERROR_DECLARED, "declared already",
		    interface, object);
}

gboolean configuration_event_undeclare(ConfigurationEvent *event,
				       const gchar *interface,
				       const gchar *object, GError **error)
{
	return event->declared.erase({interface, object}) == 1 ||
	       fail(error, CONFIGURATION_ERROR_NOT_DECLARED, "not declared",
		    interface, object);
}

ConfigurationChange *configuration_change_new(void)
{
	return std::make_unique<ConfigurationChange>().release();
}

void configuration_change_free(ConfigurationChange *change)
{
	delete change;
}

void configuration_change_append_escaped(ConfigurationChange *change,
					 const gchar *name, const gchar *value)
{
	if (!change->text.empty())
		change->text += '\n';
	change->text += escape_name(name) + ' ' + escape(value);
}

gboolean configuration_event_send(
	ConfigurationEvent *event, const gchar *source_interface,
	const gchar *source_object, const gchar *target_interface,
	const gchar *target_object, ConfigurationChangeKind kind,
	const ConfigurationChange *change, GError **error)
{
	if (!event->declared.contains({source_interface, source_object}))
		return fail(error, CONFIGURATION_ERROR_NOT_DECLARED,
			    "not declared", source_interface, source_object);
	if (event->exported)
		vxconfevent_configuration_events1_emit_changed(
			event->skeleton.get(), source_interface, source_object,
			target_interface, target_object, kind,
			change->text.c_str());
	return TRUE;
}
