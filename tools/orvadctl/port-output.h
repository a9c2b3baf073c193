#pragma once

/// What the commands that show ports have in common.

#include "bus.h"
#include "json-writer.h"
#include "port.h"
#include "table.h"

#include <optional>
#include <string>

namespace orvadctl
{

/// The names that the user gave a port; empty where there is none.
struct UserNames {
	std::string input;
	std::string output;
};

/// Asks for a real port's names. False with error set, explained, on failure;
/// a port that is not real, or that has gone since it was listed, has none,
/// which is no failure.
bool fetch_names(IOControlState *daemon, const Port &port,
		 std::optional<UserNames> &names, GError **error);

/// Adds the members number, name, kind, direction, active, active_level and
/// properties to the present object.
void add_port_members(JsonWriter &json, const Port &port);
/// Adds the members input_name and output_name, null when there are no names.
void add_name_members(JsonWriter &json, const std::optional<UserNames> &names);
/// Adds the members number and name, the latter null when it is empty.
void add_port_reference(JsonWriter &json, gint32 number,
			const std::string &name);

/// The names of the properties that are true, in the daemon's order: "a b".
std::string properties_text(const Port &port);

/// A text from outside, safe to print; a dash when it is empty.
std::string text_or_dash(const std::string &text);
/// A port's number; a dash for NO_NUMBER.
std::string number_text(gint32 number);

/// The cell for a port's state.
Cell state_cell(bool active);

} // namespace orvadctl
