#pragma once

/// The video and audio connectors of the device.

#include "port.h"

#include <optional>
#include <string>
#include <vector>

namespace orvadctl
{

enum class ConnectorKind { ANY, VIDEO, AUDIO };

/// "video" or "audio".
std::optional<ConnectorKind> parse_connector_kind(const std::string &text);

/// What the daemon's connector interface calls the connectors of that kind.
const char *connector_descr(ConnectorKind kind);

struct Connector {
	ConnectorKind kind;           ///< ANY: not known.
	std::string name;             ///< Configuration name; may be empty.
	std::optional<gint32> number; ///< The port's; nothing: not known.
	bool in_use;
};

/// Puts together what the daemon's two interfaces say. They are asked one after
/// the other: when they do not speak of the same number of connectors, the
/// states stand alone.
/// @param ports all ports, in the daemon's order.
/// @param states those of the connectors of that kind, in the same order.
std::vector<Connector> make_connectors(const std::vector<Port> &ports,
				       ConnectorKind kind,
				       const std::vector<bool> &states);

/// The connectors as a table with a heading and their count below it,
/// respectively as a JSON document.
std::string connectors_text(const std::vector<Connector> &connectors,
			    bool colour);
std::string connectors_json(const std::vector<Connector> &connectors);

} // namespace orvadctl
