#include "supervised-range.h"

#include "error.h"
#include "util/glib-ptr.h"

#include <algorithm>
#include <set>

namespace orvadctl
{

namespace
{

constexpr const char *RANGES_TYPE = "a(suu)";

/// A level from which on a range counts, respectively does so no more. One
/// past the highest 32-bit number must be told from 0.
struct Turn {
	guint64 level;
	std::size_t range;
	bool begins;
};

std::vector<Turn> turns_of(const std::vector<Range> &ranges)
{
	std::vector<Turn> turns;

	for (std::size_t i = 0; i < ranges.size(); ++i) {
		if (ranges[i].empty())
			continue;
		turns.push_back({ranges[i].lower, i, true});
		turns.push_back({guint64{ranges[i].upper} + 1, i, false});
	}
	std::sort(turns.begin(), turns.end(), [](const Turn &a, const Turn &b) {
		return a.level < b.level;
	});
	return turns;
}

/// Ends the last segment before level and begins one of that state there.
void begin_segment(std::vector<Range> &segments, guint64 level,
		   const std::string &state)
{
	if (level > G_MAXUINT32 || segments.back().state == state)
		return;
	if (level == 0) {
		segments.back().state = state;
		return;
	}
	auto start = static_cast<guint32>(level);
	segments.back().upper = start - 1;
	segments.push_back({state, start, G_MAXUINT32});
}

/// Whether a converter gives no higher level: theirs end at a power of two, and
/// nothing is said about what is beyond.
bool is_full_scale(const std::vector<Range> &segments, const Range &segment)
{
	constexpr guint32 LEAST = 0xff;
	return segment.upper >= LEAST &&
	       (segment.upper & (segment.upper + 1)) == 0 &&
	       &segment == &segments[segments.size() - 2] &&
	       segments.back().state == UNDEFINED_STATE;
}

bool ends_below(const std::vector<Range> &segments, const Range &segment)
{
	return segment.upper < G_MAXUINT32 && !is_full_scale(segments, segment);
}

} // namespace

bool ranges_from_variant(GVariant *variant, std::vector<Range> &ranges,
			 GError **error)
{
	if (!g_variant_is_of_type(variant, G_VARIANT_TYPE(RANGES_TYPE))) {
		set_failure(error,
			    "the daemon tells the ranges in an unknown form, "
			    "\"%s\"",
			    g_variant_get_type_string(variant));
		return false;
	}
	ranges.clear();
	for (gsize i = 0; i < g_variant_n_children(variant); ++i) {
		const char *state = nullptr;
		Range range;
		util::VariantPtr record(g_variant_get_child_value(variant, i));
		g_variant_get(record.get(), "(&suu)", &state, &range.lower,
			      &range.upper);
		range.state = state;
		ranges.push_back(range);
	}
	return true;
}

std::vector<Range> segments_of(const std::vector<Range> &ranges)
{
	std::vector<Range> segments = {{UNDEFINED_STATE, 0, G_MAXUINT32}};
	const std::vector<Turn> turns = turns_of(ranges);
	std::set<std::size_t> open;

	for (auto turn = turns.begin(); turn != turns.end();) {
		const guint64 level = turn->level;
		for (; turn != turns.end() && turn->level == level; ++turn) {
			if (turn->begins)
				open.insert(turn->range);
			else
				open.erase(turn->range);
		}
		begin_segment(segments, level,
			      open.empty() ? UNDEFINED_STATE
					   : ranges[*open.rbegin()].state);
	}
	return segments;
}

std::vector<Range>::const_iterator
find_segment(const std::vector<Range> &segments, guint32 level)
{
	return std::lower_bound(segments.begin(), segments.end(), level,
				[](const Range &segment, guint32 searched) {
					return segment.upper < searched;
				});
}

std::optional<Margin> margin_of(const std::vector<Range> &ranges,
				const Readout &readout)
{
	const std::vector<Range> segments = segments_of(ranges);
	const Range &segment = *find_segment(segments, readout.level);
	std::optional<Margin> margin;

	if (segment.state != readout.state)
		return margin;
	// There is nothing beyond the ends of the scale.
	if (segment.lower > 0)
		margin = {readout.level - segment.lower, segment.lower};
	const guint32 above = segment.upper - readout.level;
	if (ends_below(segments, segment) &&
	    (!margin || above < margin->distance))
		margin = {above, segment.upper};
	return margin;
}

} // namespace orvadctl
