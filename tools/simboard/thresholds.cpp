#include "thresholds.h"

#include <linux/iio/types.h>

namespace simboard
{

namespace
{

// Where things are in an event's id.
constexpr unsigned TYPE_SHIFT = 56;
constexpr unsigned DIRECTION_SHIFT = 48;
constexpr unsigned CHANNEL_TYPE_SHIFT = 32;

} // namespace

void Thresholds::set_value(Crossing crossing, int value)
{
	of(crossing).value = value;
	only_ = crossing;
	if (kind_ == ThresholdKind::ONE)
		rising_.value = falling_.value = value;
}

int Thresholds::value(Crossing crossing) const
{
	return of(crossing).value;
}

void Thresholds::enable(Crossing crossing, bool on)
{
	of(crossing).enabled = on;
	if (kind_ == ThresholdKind::EITHER)
		rising_.enabled = falling_.enabled = on;
}

bool Thresholds::enabled(Crossing crossing) const
{
	return of(crossing).enabled;
}

bool Thresholds::crossed(Crossing crossing, gint64 from, gint64 to) const
{
	int threshold = value(crossing);

	if (!enabled(crossing) ||
	    (kind_ == ThresholdKind::ONE && crossing != only_))
		return false;
	return crossing == Crossing::RISING
		       ? from < threshold && to >= threshold
		       : from > threshold && to <= threshold;
}

unsigned Thresholds::event_direction(Crossing crossing) const
{
	if (kind_ == ThresholdKind::EITHER)
		return IIO_EV_DIR_EITHER;
	return crossing == Crossing::RISING ? IIO_EV_DIR_RISING
					    : IIO_EV_DIR_FALLING;
}

guint64 event_id(unsigned channel_type, unsigned channel, unsigned direction)
{
	return guint64{IIO_EV_TYPE_THRESH} << TYPE_SHIFT |
	       guint64{direction} << DIRECTION_SHIFT |
	       guint64{channel_type} << CHANNEL_TYPE_SHIFT | channel;
}

} // namespace simboard
