#pragma once

/// What each element of a port configuration sets on the current port.

#include "ioport/ioport.h"

/// Applies one attribute of @p element to @p port, its newest event, or that
/// event's newest key. Anything unknown is ignored, and so is what belongs to
/// an event on a port that has none, and, with a warning, a value longer than
/// kLongestText.
void conf_apply_attribute(IOPort *port, const char *element,
			  const char *attribute, const char *value);

/// Makes the record that the start of an "event" or "keyvalue" element stands
/// for; nothing for any other element. A key without an event is warned of.
void conf_create_record(IOPort *port, const char *element);
