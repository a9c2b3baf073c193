#pragma once

/// Backend "spi": supervised inputs whose line an analogue-to-digital converter
/// measures. While a port is supervised, the converter is polled; otherwise the
/// port is a plain GPIO line. Its table call, spi_setup_functions(), is
/// declared in ioport/port-seam.h. Main thread, but for what a reading takes.

#include "backends/spi-device.h"
#include "backends/supervised-lines.h"
#include "util/rate-limit.h"
#include "util/scoped-source.h"

#include <mutex>
#include <string>

/// Milliseconds between two measurements of a supervised line.
constexpr guint kSpiPollInterval = 250;

/// The port's private record.
struct SpiPortData {
	SupervisedLines lines;
	/// The converter's device file.
	std::string path;
	/// The greatest clock, in Hz; 0 leaves the device's.
	guint32 speed = 0;
	/// Where the converter has this port's level; the low byte counts.
	guint32 address = 0;

	/// Guards the two below, which whoever reads the port uses.
	std::mutex device_lock;
	/// Closed for good by a transfer that fails.
	SpiDevice device;
	util::RateLimit transfer_error;

	/// 0 while the port is not supervised.
	util::ScopedSource poll_id;
	/// What was reported last, since the poll was started.
	SupervisedState last_state = SUPERVISED_UNDEFINED;
	util::RateLimit readout_error;
};
