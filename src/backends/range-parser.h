#pragma once

/// Supervision ranges as they are configured: the attributes "state", "lower"
/// and "upper" of an element "range", of which "upper" completes the range.
/// Main thread.

#include "ioport/ioport.h"

#include <optional>
#include <string>

/// One range as it was written, not yet checked.
struct ParsedRange {
	/// None when no state was given.
	std::optional<std::string> state;
	gint32 lower = 0;
	gint32 upper = 0;
};

/// Collects the attributes of one range after the other. A backend has one for
/// all of its ports, whose ranges must not be interleaved.
class RangeParser
{
public:
	/// Takes one attribute; numbers are decimal. The range, when it is
	/// complete now; the next one starts from nothing. A limit that comes
	/// after the "upper" it belongs to counts for the next range.
	std::optional<ParsedRange> parse(const char *key, const char *value);

private:
	ParsedRange pending_;
};

/// Adds the range to those of the port. One that is refused is warned of.
void add_parsed_range(IOPort *port, const ParsedRange &range);
