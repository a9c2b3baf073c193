#pragma once

/// The ports that can be supervised.

#include "supervised-bus.h"

#include <string>
#include <vector>

namespace orvadctl
{

struct SupervisablePort {
	gint32 number = NO_NUMBER;
	std::string name; ///< Configuration name; may be empty.
	bool supervised = false;
};

struct SupervisionList {
	std::vector<SupervisablePort> ports;
	/// How many real I/O ports there are, supervisable or not.
	guint inputs = 0;
	guint outputs = 0;
};

/// Asks the daemon. False with error set, explained, on failure.
bool fetch_supervision_list(IOControlState *daemon, SupervisionList &list,
			    GError **error);

/// The list as a table with a heading and the counts below it, respectively as
/// a JSON document.
std::string supervision_text(const SupervisionList &list, bool colour);
std::string supervision_json(const SupervisionList &list);

} // namespace orvadctl
