#pragma once

/// The daemon's interface for supervised inputs, which has a bus name of its
/// own and may be missing.

#include "bus.h"
#include "iosupervised-supervised-glue.h"
#include "supervised-range.h"

#include <optional>

namespace orvadctl
{

using SupervisedPtr = util::ObjectPtr<IOSupervisedSupervised>;

/// The interface, whether the daemon serves it or not; that shows at the first
/// call. On the daemon's bus, and each call may take as long as one of daemon.
SupervisedPtr open_supervised(IOControlState *daemon, GError **error);

/// As explain_call_error() and explain_port_error(), for a call of this
/// interface by a program that has found the daemon.
void explain_supervised_error(GError **error);
void explain_supervised_error(GError **error, const Port &port);

/// The port's ranges in the daemon's order. An error is not explained yet.
bool fetch_ranges(IOSupervisedSupervised *supervised, const Port &port,
		  std::vector<Range> &ranges, GError **error);

/// The states that ranges of the port can be set for. An error is not explained
/// yet.
bool fetch_states(IOSupervisedSupervised *supervised, const Port &port,
		  std::vector<std::string> &states, GError **error);

/// Has the port's line measured. An error is not explained yet.
bool fetch_readout(IOSupervisedSupervised *supervised, const Port &port,
		   Readout &readout, GError **error);

/// The numbers of the ports that can be supervised. An error is not explained
/// yet.
bool fetch_supervisable(IOSupervisedSupervised *supervised,
			std::vector<guint32> &numbers, GError **error);

/// Whether the port is supervised; nothing when it is there no longer. An error
/// is not explained yet.
bool fetch_supervised(IOSupervisedSupervised *supervised, guint32 number,
		      std::optional<bool> &on, GError **error);

/// What there is to tell about the supervision of a real port.
struct Supervision {
	bool supervisable = false;
	bool supervised = false;
	std::optional<Readout> readout; ///< Of a supervisable port only.
	std::string problem; ///< Why such a port has no readout. Not escaped.
};

/// Asks for it. False with error set, explained, on failure. It is no failure
/// that there is nothing to tell: of a port that is not real or has gone, and
/// when the daemon does not serve this interface, at least not to this user.
bool fetch_supervision(IOControlState *daemon, const Port &port,
		       std::optional<Supervision> &supervision, GError **error);

} // namespace orvadctl
