#pragma once

/// Ranges of measured levels, and what they make of a level. Pure: no bus, no
/// terminal.

#include <glib.h>

#include <optional>
#include <string>
#include <vector>

namespace orvadctl
{

/// The daemon's word for a level that no range explains.
constexpr const char *UNDEFINED_STATE = "undefined";

/// The levels that mean one state of the line, both limits included. Nothing
/// is promised about a range that came from the daemon: the word may be any,
/// and the lower limit above the upper one, so that no level is in it.
struct Range {
	std::string state;
	guint32 lower = 0;
	guint32 upper = 0;

	bool empty() const
	{
		return lower > upper;
	}
	bool operator==(const Range &) const = default;
};

/// What was measured, and what it means.
struct Readout {
	std::string state;
	guint32 level = 0;

	bool operator==(const Readout &) const = default;
};

/// Reads what GetSupervisedRanges() answers. False with error set when the type
/// is another one than "a(suu)".
bool ranges_from_variant(GVariant *variant, std::vector<Range> &ranges,
			 GError **error);

/// What every level means, from 0 to the highest number there is, without
/// gaps: where ranges overlap the last one counts, and what is in none is
/// undefined. Neighbours differ in state.
/// @param ranges in the daemon's order.
std::vector<Range> segments_of(const std::vector<Range> &ranges);

/// The element of segments (see segments_of()) that the level is in.
std::vector<Range>::const_iterator
find_segment(const std::vector<Range> &segments, guint32 level);

/// The nearest place where the meaning of the level would change.
struct Margin {
	guint32 distance = 0; ///< From the level to edge, 0: right on it.
	guint32 edge = 0;     ///< The last level that means the same.
};

/// Nothing when every level means the same, or when the ranges explain the
/// level otherwise than the readout says: they have changed since.
std::optional<Margin> margin_of(const std::vector<Range> &ranges,
				const Readout &readout);

} // namespace orvadctl
