#pragma once

/// Backend "iio": supervised inputs whose line a converter of the kernel's
/// Industrial I/O subsystem samples into a buffer, at the pace of a
/// high-resolution timer. While a port is supervised, each sample is looked at
/// as it comes; otherwise the port is a plain GPIO line. Its table call,
/// iio_setup_functions(), is declared in ioport/port-seam.h. Main thread, but
/// for what a reading takes.

#include "backends/data-watch.h"
#include "backends/iio-sample.h"
#include "backends/supervised-lines.h"
#include "util/rate-limit.h"
#include "util/unique-fd.h"

#include <atomic>
#include <string>

/// The port's private record.
struct IioPortData {
	SupervisedLines lines;
	/// The device whose buffer is read.
	std::string name;
	/// The device whose trigger is set; perhaps the same.
	std::string adc;
	/// The timer trigger, which is made when there is none.
	std::string hrtimer;
	/// Samples per second, in Hz, as it is written to the trigger.
	std::string freq;
	gint32 voltage_channel = 0;
	/// A further arithmetic shift of each sample to the right.
	gint32 value_shift = 0;

	/// The device file of `name`; open while the port is set up.
	std::string dev_path;
	util::UniqueFd fd;
	IioType iio_type;
	/// Of each sample.
	size_t bytes = 0;

	/// Off while the port is not supervised.
	DataWatch data_watch;
	std::atomic<gint32> last_readout = 0;
	/// What was reported last, since the watch was started.
	SupervisedState last_state = SUPERVISED_UNDEFINED;

	struct {
		util::RateLimit read_error;
		util::RateLimit readout_error;
	} limits;
};
