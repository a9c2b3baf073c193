#pragma once

/// A level among its ranges, drawn for a terminal. Pure: the same values make
/// the same text.

#include "supervised-range.h"

namespace orvadctl
{

struct LevelView {
	std::vector<Range> ranges; ///< In the daemon's order.
	/// What was measured; nothing: it could not be.
	std::optional<guint32> level;
	guint32 top = 0;       ///< The scale goes from 0 to this level.
	std::size_t width = 0; ///< Terminal columns; 0 is taken as 1.
	bool utf8 = false;     ///< Whether to draw with more than ASCII.
	bool colour = false;
};

/// The end of a scale that shows all of the ranges that a level can be in and
/// every level up to highest_level; at least 255.
guint32 scale_top(const std::vector<Range> &ranges, guint32 highest_level);

/// Three lines without the last one's line break, none wider than the view:
/// a mark above the level, the bar, and under each range the level that it
/// begins at. The bar shows what each level means:
///
///           v
///     [---open---][--closed--]...[short][cut-]
///     0           120            200    240 255
///
/// A range that is too narrow for its word has its letter; one within a single
/// column of the bar is shown rather than its neighbours. A level beyond the
/// scale is marked at its end.
std::string draw_level(const LevelView &view);

} // namespace orvadctl
