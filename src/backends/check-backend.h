#pragma once

/// Backend "check": a test double. It records what the port layer does to it,
/// and fails its set-up when it has an item with the attribute "setup" and the
/// value "fail". Its table call, check_setup_functions(), is declared in
/// ioport/port-seam.h.

#include "ioport/ioport.h"

#include <atomic>
#include <list>

/// The port's private record.
struct CheckPortData {
	/// The level written last, and read back as it is.
	std::atomic<int> level = 0;
	/// The result of the last setup.
	bool setup_ok = false;
	/// set_watch has been called.
	bool watched = false;
	/// The last direction: 1 input, 0 output.
	int direction = 0;
	/// Every item that was parsed, newest first.
	std::list<BackendItem> items;
};
