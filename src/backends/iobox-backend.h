#pragma once

/// Ports of an external I/O box. A monitor service on the system bus owns the
/// box; a port is driven by calling it and followed by its signal. A call
/// blocks until the monitor has answered or the bus's default time-out is over.

#include "util/bus-client.h"
#include "util/rate-limit.h"
#include "util/scoped-signal.h"

#include <atomic>

struct IOPort;

/// The private record of a port of the box.
struct IoboxPortData {
	/// This port's own proxy of the monitor, or null. Stays from one set-up
	/// to the next.
	util::ProxyPtr proxy;
	/// There is a proxy, even if the box was not found with it.
	std::atomic<bool> available = false;
	/// Changes are reported.
	bool watching = false;
	/// The output level that the monitor was told last. The action thread
	/// writes it, too.
	std::atomic<int> level = 0;
	/// The handler of the monitor's signal.
	util::ScopedSignal signal_id;
	/// A SupervisedState: what the line was last.
	std::atomic<int> state = 0;
	/// Complains of the words that the monitor uses. Main thread.
	util::RateLimit complaints;
};

/// The state that the monitor's @p word stands for: "open", "closed", "short"
/// or "cut", spelled exactly so; SUPERVISED_UNDEFINED, with a warning, for any
/// other.
int iobox_state_to_orvad_state(const char *word, util::RateLimit *complaints);
