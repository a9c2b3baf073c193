#pragma once

/// What the event service says about an event, and how it is shown.

#include "json-writer.h"
#include "util/glib-ptr.h"

#include <map>
#include <string>
#include <vector>

namespace orvadctl
{

/// Keys and their values.
using Values = std::map<std::string, util::VariantPtr>;

struct Declaration {
	struct NiceNames {
		std::string key;
		std::string value;
	};

	std::string type;     ///< The event type's name, or empty.
	std::string property; ///< The key that carries the state, or empty.
	Values keys;          ///< Those that have a value.
	std::map<std::string, NiceNames> nice_names;
	std::map<std::string, std::string> namespaces;
	std::map<std::string, std::vector<std::string>> tags;
};

/// Reads an "a{sv}" description. What is missing stays empty; false with error
/// set when something has another type than it should.
bool declaration_from_variant(GVariant *description, Declaration &declaration,
			      GError **error);

/// Reads an "a{sv}".
Values values_from_variant(GVariant *dictionary);

/// The topic, from topic0, topic1...: "tns1:Device/tnsvexa:IO". Empty without
/// topic0. Not escaped.
/// @param declaration where the name spaces are from; may be null.
std::string topic_text(const Values &values, const Declaration *declaration);

/// The other values, safe to print: "port=1 state=true", a text in quotes.
std::string values_text(const Values &values);

/// A declaration for a person, without its topic, safe to print: the values,
/// their display names in parentheses, then what else is known in brackets.
std::string declaration_text(const Declaration &declaration);

/// Adds the member keys, an object with a value for each key, topics included.
void add_values(JsonWriter &json, const Values &values);

/// Adds the members event_type, property, keys, nice_names, namespaces, tags.
void add_declaration(JsonWriter &json, const Declaration &declaration);

} // namespace orvadctl
