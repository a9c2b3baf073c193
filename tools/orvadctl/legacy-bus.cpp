#include "legacy-bus.h"

#include "bus.h"
#include "error.h"
#include "report.h"

namespace orvadctl
{

namespace
{

constexpr const char *PROPERTIES = "org.freedesktop.DBus.Properties";

/// Whether the error of a call says that the object or the interface is not
/// there (any more), or has no values.
bool says_no_value(const GError *error)
{
	return says_object_missing(error) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_UNKNOWN_PROPERTY) ||
	       g_error_matches(error, G_DBUS_ERROR,
			       G_DBUS_ERROR_INVALID_ARGS) ||
	       says(error, NO_PORT_ERROR);
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

} // namespace

LegacyBus::LegacyBus(GDBusConnection *connection, gint timeout_ms)
	: connection_(connection), timeout_ms_(timeout_ms)
{
}

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
		parameter.object.c_str(), PROPERTIES, "GetAll",
		g_variant_new("(s)", parameter.interface.c_str()),
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

bool LegacyBus::set(const LegacyParameter &parameter, GVariant *value,
		    GError **error)
{
	util::VariantPtr owned(g_variant_ref_sink(value));

	if (!g_variant_is_object_path(parameter.object.c_str())) {
		set_failure(error, "%s: a port without a number has no object",
			    parameter.label().c_str());
		return false;
	}
	util::VariantPtr answer(g_dbus_connection_call_sync(
		connection_, parameter.service.c_str(),
		parameter.object.c_str(), PROPERTIES, "Set",
		g_variant_new("(ssv)", parameter.interface.c_str(),
			      parameter.property.c_str(), value),
		G_VARIANT_TYPE_UNIT, G_DBUS_CALL_FLAGS_NO_AUTO_START,
		timeout_ms_, nullptr, error));
	asked_.clear();
	if (!answer)
		explain_error(error, parameter);
	return answer != nullptr;
}

} // namespace orvadctl
