#include "command.h"
#include "error.h"
#include "legacy-mapping-file.h"
#include "report.h"
#include "util/paths.h"

#include <map>
#include <tuple>

namespace orvadctl
{

namespace
{

constexpr const char *NO_PORT_ERROR = "com.vexa.IOControl.Error.No_port";

/// Whether the error of a call says that the object or the interface is not
/// there (any more), or has no values.
bool says_no_value(const GError *error)
{
	util::CharPtr name(g_dbus_error_get_remote_error(error));

	return says_object_missing(error) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_UNKNOWN_PROPERTY) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_INVALID_ARGS) ||
	       g_strcmp0(name.get(), NO_PORT_ERROR) == 0;
}

void explain_error(GError **error, const LegacyParameter &parameter)
{
	if (!says_service_missing(*error)) {
		explain_call_error(error);
		g_prefix_error(error, "%s: ", parameter.object.c_str());
		return;
	}
	g_clear_error(error);
	set_failure(error,
		    "nobody serves the older configuration system; start the "
		    "port daemon with \"systemctl start orvad\", without "
		    "--disable_legacy_interface");
}

/// Asks for the values of parameters. Each interface of an object is asked
/// once.
class LegacyBus
{
public:
	LegacyBus(GDBusConnection *connection, gint timeout_ms)
		: connection_(connection), timeout_ms_(timeout_ms)
	{
	}

	/// A value that is not what it should be is left out, and standard
	/// error tells so.
	bool fetch(const LegacyParameter &parameter, LegacyValue &value,
		   GError **error);

private:
	/// A service, an object and an interface.
	using Place = std::tuple<std::string, std::string, std::string>;

	bool find_properties(const LegacyParameter &parameter,
			     GVariant *&properties, GError **error);
	bool ask(const LegacyParameter &parameter, util::VariantPtr &properties,
		 GError **error);

	GDBusConnection *connection_;
	gint timeout_ms_;
	std::map<Place, util::VariantPtr> asked_;
};

/// @param properties null afterwards when there are none.
bool LegacyBus::ask(const LegacyParameter &parameter,
		    util::VariantPtr &properties, GError **error)
{
	// That of a port without a number; GDBus refuses to call it.
	if (!g_variant_is_object_path(parameter.object.c_str()))
		return true;
	util::Error call_error;
	util::VariantPtr answer(g_dbus_connection_call_sync(
		connection_, parameter.service.c_str(),
		parameter.object.c_str(), "org.freedesktop.DBus.Properties",
		"GetAll", g_variant_new("(s)", parameter.interface.c_str()),
		G_VARIANT_TYPE("(a{sv})"), G_DBUS_CALL_FLAGS_NO_AUTO_START,
		timeout_ms_, nullptr, &call_error));

	if (answer)
		properties.reset(g_variant_get_child_value(answer.get(), 0));
	if (answer || says_no_value(call_error.get()))
		return true;
	g_propagate_error(error, call_error.release());
	explain_error(error, parameter);
	return false;
}

bool LegacyBus::find_properties(const LegacyParameter &parameter,
				GVariant *&properties, GError **error)
{
	auto [place, added] = asked_.try_emplace(
		{parameter.service, parameter.object, parameter.interface});

	if (added && !ask(parameter, place->second, error))
		return false;
	properties = place->second.get();
	return true;
}

bool LegacyBus::fetch(const LegacyParameter &parameter, LegacyValue &value,
		      GError **error)
{
	GVariant *properties = nullptr;

	if (!find_properties(parameter, properties, error))
		return false;
	util::VariantPtr answer(
		properties ? g_variant_lookup_value(properties,
						    parameter.property.c_str(),
						    nullptr)
			   : nullptr);
	util::Error oddity;
	if (!legacy_value_from_variant(parameter, answer.get(), value, &oddity))
		report_line(oddity.message());
	return true;
}

bool fetch_settings(const Context &context,
		    std::vector<LegacySetting> &settings, GError **error)
{
	std::vector<LegacyParameter> parameters;

	if (!read_legacy_mapping(util::kLegacyMappingFile, parameters, error))
		return false;
	ConnectionPtr connection = open_bus(error);
	if (!connection)
		return false;
	LegacyBus bus(connection.get(), context.options.timeout_ms);
	for (LegacyParameter &parameter : parameters) {
		LegacyValue value;
		if (!bus.fetch(parameter, value, error))
			return false;
		settings.push_back({std::move(parameter), std::move(value)});
	}
	return true;
}

bool run(Context &context, GError **error)
{
	std::vector<LegacySetting> settings;

	if (!fetch_settings(context, settings, error))
		return false;
	if (context.options.json)
		context.output.line(legacy_json(settings));
	else
		context.output.print(
			legacy_text(settings, context.output.colour()));
	return true;
}

} // namespace

const Command LEGACY_COMMAND = {
	"legacy",
	"",
	"list the older system's parameters",
	"Lists the parameters that the older configuration system has of the "
	"ports,\n"
	"in the order of its mapping file, with the values that they have on "
	"the bus.\n"
	"VALUE is \"-\" when there is none. TYPE and ACCESS are what that "
	"system is\n"
	"told of them. Fails when it is switched off with\n"
	"--disable_legacy_interface.\n"
	"\n"
	"JSON: {\"parameters\": [{\"group\", \"parameter\", \"value\": number, "
	"bool,\n"
	"text, or null when there is none, \"type\", \"access\", \"object\",\n"
	"\"interface\", \"property\"}]}.",
	OPTIONS_COMMON,
	0,
	0,
	run,
};

} // namespace orvadctl
