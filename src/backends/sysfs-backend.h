#pragma once

/// Backend "sysfs": inputs whose level the kernel publishes as a text file
/// holding "0" or "1". The file is polled; it may be a latch that is cleared
/// after reading a 1. Its table call, sysfs_setup_functions(), is declared in
/// ioport/port-seam.h. Main thread, but for `state`.

#include "util/rate-limit.h"
#include "util/scoped-source.h"
#include "util/unique-fd.h"

#include <glib.h>

#include <atomic>
#include <string>

/// The port's private record.
struct SysfsPortData {
	/// The attribute file.
	std::string path;
	/// Open while the port is set up; none when the open failed.
	util::UniqueFd fd;
	/// Milliseconds between two polls; 0 polls on every round of the main
	/// loop. A negative number counts as unsigned, which is weeks: such
	/// a port is not polled. A number that does not fit is taken as the
	/// nearest that does; either is warned of.
	gint32 timeout = 0;
	/// The last level, 0 or 1, inversion applied.
	std::atomic<guint32> state = 0;
	util::ScopedSource poll_id;
	/// The attribute is a latch: write "0" after reading a 1.
	bool clear_flag = false;
	/// Invert the level that was read.
	bool inverted = false;

	/// One for each message of the poll, which would repeat it every tick.
	struct {
		util::RateLimit read_error;
		util::RateLimit bad_format;
		util::RateLimit bad_value;
		util::RateLimit write_error;
	} limits;
};
