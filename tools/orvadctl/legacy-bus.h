#pragma once

/// The older configuration system's objects on the bus.

#include "legacy-parameter.h"
#include "util/glib-ptr.h"

#include <map>
#include <string>
#include <tuple>

namespace orvadctl
{

/// Asks for the values of parameters, and sets them. Each interface of an
/// object is asked once, and again after something was set.
class LegacyBus
{
public:
	/// @param connection stays the caller's and must outlive this.
	/// @param timeout_ms how long each call may take.
	LegacyBus(GDBusConnection *connection, gint timeout_ms);

	/// A value that is not what it should be is left out, and standard
	/// error tells so. False with error set, explained, on failure.
	bool fetch(const LegacyParameter &parameter, LegacyValue &value,
		   GError **error);

	/// @param value floating: see legacy_value_to_variant(). What will do
	/// is the service's business: its refusal is the error.
	bool set(const LegacyParameter &parameter, GVariant *value,
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

} // namespace orvadctl
