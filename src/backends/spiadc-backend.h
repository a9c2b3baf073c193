#pragma once

/// Backend "spiadc": inputs that are active while the level that a converter
/// measures is inside one of some bands, whose hysteresis keeps the state from
/// chattering at an edge. The converter is polled. The backend's table call,
/// spiadc_setup_functions(), is declared in ioport/port-seam.h. Main thread,
/// but for `state`.

#include "backends/spi-device.h"
#include "util/rate-limit.h"
#include "util/scoped-source.h"

#include <atomic>
#include <deque>
#include <string>

/// Levels that mean "active", in the converter's units, 0 to 255.
struct SpiadcBand {
	gint32 active_min = 0;
	gint32 active_max = 0;
	/// How much wider the band is on both sides while the input is active,
	/// and narrower while it is not; a negative number the other way round.
	gint32 hysteresis = 0;
};

/// Newest first.
using SpiadcBands = std::deque<SpiadcBand>;

/// The port's private record.
struct SpiadcPortData {
	/// The converter's device file.
	std::string path;
	/// Where the converter has this port's level; the low byte counts.
	gint32 address = 0;
	/// Open while the port is set up.
	SpiDevice device;
	SpiadcBands bands;
	/// Milliseconds between two polls, see backend::start_poll().
	gint32 timeout = 0;
	/// The input is active outside of the bands.
	bool inverted = false;
	/// The last state, 0 or 1, inversion applied.
	std::atomic<gint32> state = 0;
	util::ScopedSource poll_id;
	util::RateLimit transfer_error;
};

/// Whether @p level is inside one of the bands. Limits and hysteresis are added
/// as 32-bit numbers, which wrap.
/// @param matched whether the level before it was.
bool spiadc_match(const SpiadcBands &bands, gint32 level, bool matched);
