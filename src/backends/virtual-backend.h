#pragma once

/// Backend "virtual": keeps a port's level in memory. It serves virtual inputs
/// and manual triggers, whose state is set by software. Its table call,
/// virtual_setup_functions(), is declared in ioport/port-seam.h.

#include <atomic>

/// The port's private record.
struct VirtualPortData {
	/// The level written last, reduced to 0 or 1 when it is read.
	std::atomic<unsigned> level = 0;
};
