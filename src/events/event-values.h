#pragma once

/// The values of configured event keys: literals, and placeholders that are
/// filled from the port.

#include "ioport/ioport.h"

#include <vxevent.h>

/// What a filling is for.
enum class FillMode {
	/// All keys, with their display names; the one that is the event's
	/// state gets no value yet.
	Declaration,
	/// The keys that carry the event's state only.
	Sending,
};

/// Fills @p inspectable from @p keys in their order. Stops at the first key
/// that cannot be set, with a warning, and returns false. The last key that
/// carries the state goes to @p property_key (left alone when there is none;
/// may be null). A key of an unknown type is a programming error. Any thread.
bool populate_event_values(IOPort *port, const std::list<EventKey> &keys,
			   Inspectable *inspectable, FillMode mode,
			   const EventKey **property_key);
