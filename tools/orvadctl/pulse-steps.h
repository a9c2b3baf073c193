#pragma once

#include <glib.h>

#include <string>
#include <vector>

namespace orvadctl
{

/// One step of a sequence: a state and how long to hold it.
struct Step {
	bool active;
	gint32 ms;

	bool operator==(const Step &) const = default;
};

/// The alternating sequence that holds the port active for the first time,
/// inactive for the second, and so on. It ends inactive: after an active last
/// step comes one of 0 ms.
/// @param times milliseconds, at least one.
std::vector<Step> pulse_steps(const std::vector<gint32> &times);

/// Reads the steps of a command line: times alone, which alternate as above, or
/// a state for each, as "on:500", which are the steps as they are. A state
/// alone takes no time. False with error set when the words are neither.
/// @param words at least one.
bool parse_steps(const std::vector<std::string> &words,
		 std::vector<Step> &steps, GError **error);

/// How long the steps take together, in ms.
gint64 total_ms(const std::vector<Step> &steps);

/// The steps as StartActionSequence() takes them, a floating "a(bi)".
GVariant *steps_to_variant(const std::vector<Step> &steps);

} // namespace orvadctl
