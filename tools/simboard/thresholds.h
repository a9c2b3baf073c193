#pragma once

/// The threshold detector of a channel: what its registers are set to, and when
/// it reports that the value has crossed one.

#include "words.h"

#include <glib.h>

#include <vector>

namespace simboard
{

/// The two ways across a threshold.
enum class Crossing { RISING, FALLING };

class Thresholds
{
public:
	explicit Thresholds(ThresholdKind kind) : kind_(kind)
	{
	}

	ThresholdKind kind() const
	{
		return kind_;
	}
	/// A detector of one threshold forgets the other one.
	void set_value(Crossing crossing, int value);
	int value(Crossing crossing) const;
	/// Of a detector of either direction, both at once.
	void enable(Crossing crossing, bool on);
	bool enabled(Crossing crossing) const;

	/// Whether going from one value to another reaches the threshold of
	/// that direction, which is enabled.
	bool crossed(Crossing crossing, gint64 from, gint64 to) const;
	/// The direction as the event tells it, one of iio_event_direction.
	unsigned event_direction(Crossing crossing) const;

private:
	struct Register {
		int value = 0;
		bool enabled = false;
	};

	const Register &of(Crossing crossing) const
	{
		return crossing == Crossing::RISING ? rising_ : falling_;
	}
	Register &of(Crossing crossing)
	{
		return crossing == Crossing::RISING ? rising_ : falling_;
	}

	ThresholdKind kind_;
	Register rising_;
	Register falling_;
	/// What the only threshold is for.
	Crossing only_ = Crossing::RISING;
};

/// The id of the event, as IIO_UNMOD_EVENT_CODE of the kernel makes it
/// (include/linux/iio/events.h).
/// @param channel_type one of iio_chan_type.
guint64 event_id(unsigned channel_type, unsigned channel, unsigned direction);

} // namespace simboard
