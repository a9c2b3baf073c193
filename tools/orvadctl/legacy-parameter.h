#pragma once

/// A parameter of the older configuration system: a property on the bus, under
/// a name of that system's.

#include <glib.h>

#include <string>
#include <variant>
#include <vector>

namespace orvadctl
{

/// What the property's value is.
enum class LegacyType { INTEGER, BOOLEAN, TEXT };

struct LegacyParameter {
	std::string group;
	std::string name;
	std::string service; ///< A valid bus name.
	std::string object;  ///< A valid object path.
	std::string interface;
	std::string property;
	LegacyType value_type = LegacyType::TEXT;
	std::string true_word;  ///< What stands for true; booleans only.
	std::string false_word; ///< The same for false.
	std::string type;       ///< As the older system declares it.
	std::string access;     ///< Who may read and write it there.

	/// As a person names it: "root.Input.NbrOfInputs". Not escaped.
	std::string label() const;
};

/// Nothing: the property has no value now.
using LegacyValue = std::variant<std::monostate, gint32, bool, std::string>;

/// Reads a property's value: "i", "b" or "s", or "ay" for a text. False with
/// error set when it has another type than the parameter, or is no text.
/// @param answer null: there is no value, which is no failure.
bool legacy_value_from_variant(const LegacyParameter &parameter,
			       GVariant *answer, LegacyValue &value,
			       GError **error);

/// The value that text means for the parameter, floating, as the property is
/// written: "i", "b", or "ay" with a final zero for a text. Null with error set
/// when the parameter can have no such value.
GVariant *legacy_value_to_variant(const LegacyParameter &parameter,
				  const std::string &text, GError **error);

struct LegacySetting {
	LegacyParameter parameter;
	LegacyValue value;
};

/// The parameters as a table with a heading, respectively as a JSON document.
std::string legacy_text(const std::vector<LegacySetting> &settings,
			bool colour);
std::string legacy_json(const std::vector<LegacySetting> &settings);

/// One of them as a line, respectively as a JSON document.
std::string legacy_setting_text(const LegacySetting &setting);
std::string legacy_setting_json(const LegacySetting &setting);

} // namespace orvadctl
