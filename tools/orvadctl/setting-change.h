#pragma once

/// A change of a producer's settings, as the configuration event service
/// announces it.

#include "json-writer.h"

#include <string>

namespace orvadctl
{

constexpr const char *CONFIGURATION_NAME = "org.orvad.ConfigurationEvents1";
constexpr const char *CONFIGURATION_ROOT = "/org/orvad/ConfigurationEvents1";
constexpr const char *CONFIGURATION_INTERFACE =
	"org.orvad.ConfigurationEvents1";

/// Of the signal that announces it.
constexpr const char *CHANGED_TYPE = "(ssssis)";

struct SettingChange {
	std::string source_interface; ///< Whose change caused it.
	std::string source_object;
	std::string target_interface; ///< What has changed.
	std::string target_object;
	gint32 kind = 0;
	std::string change; ///< A property and its value in each line.
};

/// @param arguments of type CHANGED_TYPE.
SettingChange setting_change_from_variant(GVariant *arguments);

/// For a person, in one line, safe to print: object, interface, changes.
std::string setting_change_text(const SettingChange &change);

/// Adds the members source_interface, source_object, target_interface,
/// target_object, kind and change.
void add_setting_change(JsonWriter &json, const SettingChange &change);

} // namespace orvadctl
