#pragma once

/// The daemon's interface for connectors, which has a bus name of its own and
/// may be missing.

#include "bus.h"
#include "qel-connector-glue.h"

namespace orvadctl
{

using ConnectorPtr = util::ObjectPtr<QELConnector>;

/// The interface, whether the daemon serves it or not; that shows at the first
/// call. On the daemon's bus, and each call may take as long as one of daemon.
/// An error is not explained yet.
ConnectorPtr open_connector(IOControlState *daemon, GError **error);

/// As explain_call_error(), for a call of this interface by a program that has
/// found the daemon.
void explain_connector_error(GError **error);

} // namespace orvadctl
