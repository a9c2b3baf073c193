#pragma once

/// A port as the daemon lists it.

#include <glib.h>

#include <string>
#include <utility>
#include <vector>

namespace orvadctl
{

/// The number of a port that was not given any.
constexpr gint32 NO_NUMBER = -1;

struct Port {
	std::string name; ///< Configuration name; may be empty.
	gint32 number = NO_NUMBER;
	bool active = false; ///< Its state.
	bool input = false;  ///< What it works as now.
	bool configurable = false;
	bool open = false; ///< Active level of that side: open or closed.
	std::vector<std::pair<std::string, bool>> properties;

	bool has(const std::string &property) const;
	/// A real I/O port.
	bool real() const;
	/// A port in software only, which can but be simulated.
	bool only_virtual() const;
};

/// Reads what GetPortProps() answers. False with error set when the type is
/// another one than "a(sibbbba(sb))".
bool ports_from_variant(GVariant *variant, std::vector<Port> &ports,
			GError **error);

/// The ports of after that before does not have, in their order there. A port
/// is known by its name and number; of several with the same, as many are new
/// as there are more.
std::vector<Port> added_ports(const std::vector<Port> &before,
			      const std::vector<Port> &after);

/// The port that PORT on the command line means: the one with that number,
/// else the one with that configuration name. Null with error set when there
/// is none, or when several share the name. NO_NUMBER means the port that the
/// daemon finds by it, if any.
const Port *select_port(const std::vector<Port> &ports, const std::string &text,
			GError **error);

/// The port that the daemon finds by this number; null when it finds none.
const Port *reached_port(const std::vector<Port> &ports, gint32 number);

/// Whether the daemon finds this element of ports by its number; with error
/// set when it finds another one or none.
bool check_reachable(const std::vector<Port> &ports, const Port &port,
		     GError **error);

/// "input", "output", "configurable" or "virtual".
const char *kind_text(const Port &port);
/// "input" or "output".
const char *direction_text(bool input);
/// "active" or "inactive".
const char *state_text(bool active);
/// "open" or "closed".
const char *level_text(bool open);
/// The port for a person: "port 1 (door)". Not escaped.
std::string port_label(gint32 number, const std::string &name);

} // namespace orvadctl
