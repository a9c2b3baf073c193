#pragma once

/// The manual triggers: virtual ports, one for a video channel each.

#include "event-service.h"
#include "port.h"

#include <optional>
#include <string>
#include <vector>

namespace orvadctl
{

struct Trigger {
	gint32 channel; ///< The video channel's number, from 1.
	gint32 number;  ///< The port's.
	bool active;
	std::optional<bool> enabled; ///< Nothing: not known.
};

/// The manual triggers among the ports, by channel, none of them known to be
/// enabled or not.
std::vector<Trigger> triggers_from_ports(const std::vector<Port> &ports);

/// Tells of each trigger whether it is enabled: exactly those are whose event
/// is declared.
void set_enabled(std::vector<Trigger> &triggers,
		 const std::vector<LiveDeclaration> &declarations);

/// The triggers as a table with a heading, respectively as a JSON document.
std::string triggers_text(const std::vector<Trigger> &triggers, bool colour);
std::string triggers_json(const std::vector<Trigger> &triggers);

} // namespace orvadctl
