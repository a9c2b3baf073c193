#pragma once

/// Backend "iio-interrupt": inputs that a converter of the kernel's Industrial
/// I/O subsystem watches by itself. Two thresholds are set just outside of the
/// range that the level is in; their crossing is an event, after which the
/// level is read again and the thresholds move. Beyond limits that the
/// configuration sets, the level is polled. Its table call,
/// iio_int_setup_functions(), is declared in ioport/port-seam.h. Main thread,
/// but for what a reading takes.

#include "backends/iio-int-channel.h"
#include "backends/iio-int-events.h"
#include "backends/supervised-lines.h"
#include "util/scoped-source.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>

enum IioIntMode {
	/// A supervised input, or a plain GPIO line while it is not supervised.
	IIO_INT_THRESHOLD = 0,
	/// No GPIO lines, not supervisable; the port's state is that of the
	/// range that the level is in, of ranges of its own.
	IIO_INT_ADC = 1,
};

/// The port's private record.
struct IioIntPortData {
	/// A limit that is not set.
	static constexpr guint32 kNoLimit = G_MAXUINT32;

	IioIntMode mode = IIO_INT_THRESHOLD;
	SupervisedLines lines;
	bool pullup_when_supervised = false;

	/// The converter's name.
	std::optional<std::string> driver;
	guint32 voltage_channel = 0;
	std::optional<std::string> channel_name;
	std::optional<std::string> chan_extend_name;
	/// How far raw values are shifted to the right, and thresholds to the
	/// left; the low five bits count.
	guint32 bitshift = 0;
	/// Added to a range on both sides, in units of the shifted level.
	guint32 hysteresis = 0;
	/// Only one of the thresholds can be set at a time.
	bool one_threshold = false;
	/// From here on down, and up, there are no thresholds to set.
	guint32 lower_limit = kNoLimit;
	guint32 upper_limit = kNoLimit;
	/// Milliseconds between two polls there.
	guint32 limit_timeout = 1000;
	/// Written to the converter at set-up.
	std::optional<std::string> shared_samplefreq;
	std::optional<std::string> shared_thresh_either_period;
	/// Microseconds; 0, and what is negative as a signed number, leaves
	/// the converter's.
	guint32 integration_time = 0;
	/// Whoever asks for the level gets the one that was read last.
	bool cache_ad_value = true;
	/// Of IIO_INT_ADC.
	SupervisedRangeList ranges;

	/// Set by the set-up.
	IioChannelName channel;
	IioIntListener listener;
	/// The poll beyond the limits, or a second look after arming.
	util::ScopedSource limit_poll_id;
	/// Held by whoever reads the level.
	std::mutex read_lock;
	util::RateLimit read_error;
	std::atomic<guint32> last_readout = 0;
	/// What was reported last, since events were switched on.
	SupervisedState last_state = SUPERVISED_OPEN;
};
