#pragma once

#include <string>
#include <string_view>

namespace orvadctl
{

/// What a piece of text means to the reader; colours follow from it.
enum class Style {
	PLAIN,
	HEADING,
	ACTIVE,  ///< an active port
	WARNING, ///< something went away
	FAINT,   ///< what is there to be skipped, as a time stamp
	// The line of a supervised input; the last two mean tampering.
	LINE_OPEN,
	LINE_CLOSED,
	LINE_SHORT,
	LINE_CUT
};

/// text in its colours, or text itself when colour is false.
std::string styled(std::string_view text, Style style, bool colour);

} // namespace orvadctl
