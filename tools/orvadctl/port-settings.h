#pragma once

/// The settings of a real port, each asked for with a call of its own. The
/// functions return false with error set, explained, on failure.

#include "bus.h"
#include "port.h"

#include <string>

namespace orvadctl
{

/// "open" or "closed", for either side, whether the port has it or not.
struct ActiveLevels {
	std::string input;
	std::string output;
};

bool fetch_levels(IOControlState *daemon, const Port &port,
		  ActiveLevels &levels, GError **error);

/// What the port is used for, in the user's words; may be empty.
bool fetch_usage(IOControlState *daemon, const Port &port, std::string &usage,
		 GError **error);

} // namespace orvadctl
