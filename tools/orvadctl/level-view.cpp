#include "level-view.h"

#include "style.h"
#include "supervised-output.h"
#include "text.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

constexpr guint32 LEAST_TOP = 255;

/// What a bar is made of; each takes one column.
struct Glyphs {
	const char *left;
	const char *line;
	const char *right;
	const char *gap;
	const char *marker;
	const char *beyond; ///< The marker of a level beyond the scale.
};

constexpr Glyphs ASCII_GLYPHS = {"[", "-", "]", ".", "v", ">"};
constexpr Glyphs UTF8_GLYPHS = {"├", "─", "┤", "·", "▼", "▶"};

/// Maps levels to the columns of the bar. There are never more columns than
/// levels, so that each column has a first level of its own.
class Scale
{
public:
	Scale(guint32 top, std::size_t width)
		: levels_(guint64{top} + 1),
		  columns_(std::clamp<guint64>(width, 1, levels_))
	{
	}

	std::size_t columns() const
	{
		return columns_;
	}
	/// The column of a level that is on the scale.
	std::size_t column_of(guint32 level) const
	{
		return level * columns_ / levels_;
	}
	bool has(guint32 level) const
	{
		return level < levels_;
	}
	guint32 first_level(std::size_t column) const
	{
		return (column * levels_ + columns_ - 1) / columns_;
	}
	guint32 last_level(std::size_t column) const
	{
		return column + 1 < columns_ ? first_level(column + 1) - 1
					     : levels_ - 1;
	}

private:
	guint64 levels_;
	guint64 columns_;
};

/// Neighbouring columns that show the same segment.
struct Run {
	const Range *segment;
	std::size_t start;
	std::size_t length;
};

bool narrower(const Range &a, const Range &b)
{
	return a.upper - a.lower < b.upper - b.lower;
}

/// The segment that a column shows: the narrowest of those in it.
const Range *column_segment(const std::vector<Range> &segments,
			    const Scale &scale, std::size_t column)
{
	auto first = find_segment(segments, scale.first_level(column));
	auto last = find_segment(segments, scale.last_level(column));

	return &*std::min_element(first, last + 1, narrower);
}

std::vector<Run> runs_of(const std::vector<Range> &segments, const Scale &scale)
{
	std::vector<Run> runs;

	for (std::size_t column = 0; column < scale.columns(); ++column) {
		const Range *segment = column_segment(segments, scale, column);
		if (runs.empty() || runs.back().segment != segment)
			runs.push_back({segment, column, 0});
		++runs.back().length;
	}
	return runs;
}

std::string repeat(const char *glyph, std::size_t count)
{
	std::string text;

	while (count-- > 0)
		text += glyph;
	return text;
}

/// What stands in a run, which has room columns inside its edges.
std::string label_for(const std::string &state, std::size_t room)
{
	std::string word = escape(state);

	return display_width(word) <= room
		       ? word
		       : std::string(1, line_state_letter(state));
}

std::string run_text(const Run &run, const Glyphs &glyphs)
{
	const std::string &state = run.segment->state;
	const std::string letter(1, line_state_letter(state));

	if (state == UNDEFINED_STATE)
		return repeat(glyphs.gap, run.length);
	if (run.length == 1)
		return letter;
	if (run.length == 2)
		return letter + glyphs.right;
	std::size_t room = run.length - 2;
	std::string label = label_for(state, room);
	std::size_t blank = room - display_width(label);
	return glyphs.left + repeat(glyphs.line, blank / 2) + label +
	       repeat(glyphs.line, blank - blank / 2) + glyphs.right;
}

std::string bar_line(const std::vector<Run> &runs, const Glyphs &glyphs,
		     bool colour)
{
	std::string line;

	for (const Run &run : runs) {
		const std::string &state = run.segment->state;
		Style style = state == UNDEFINED_STATE
				      ? Style::FAINT
				      : line_state_style(state);
		line += styled(run_text(run, glyphs), style, colour);
	}
	return line;
}

std::string marker_line(const LevelView &view, const Scale &scale,
			const Glyphs &glyphs)
{
	if (!view.level)
		return "";
	bool within = scale.has(*view.level);
	std::size_t column =
		within ? scale.column_of(*view.level) : scale.columns() - 1;

	return std::string(column, ' ') +
	       styled(within ? glyphs.marker : glyphs.beyond, Style::HEADING,
		      view.colour);
}

/// Writes number into line from that column on, if it fits there with a blank
/// around it.
void place_number(std::string &line, std::size_t column, guint32 number)
{
	const std::string text = std::to_string(number);
	const std::size_t from = column > 0 ? column - 1 : 0;

	if (column + text.size() > line.size() ||
	    line.substr(from, column - from + text.size() + 1)
			    .find_first_not_of(' ') != std::string::npos)
		return;
	line.replace(column, text.size(), text);
}

std::string numbers_line(const std::vector<Run> &runs, const Scale &scale,
			 guint32 top)
{
	const std::size_t columns = scale.columns();
	const std::size_t digits = std::to_string(top).size();
	std::string line(columns, ' ');

	place_number(line, 0, 0);
	if (digits <= columns)
		place_number(line, columns - digits, top);
	for (const Run &run : runs)
		place_number(line, run.start, run.segment->lower);
	return line.substr(0, line.find_last_not_of(' ') + 1);
}

} // namespace

guint32 scale_top(const std::vector<Range> &ranges, guint32 highest_level)
{
	guint32 top = std::max(LEAST_TOP, highest_level);

	for (const Range &range : ranges)
		if (!range.empty())
			top = std::max(top, range.upper);
	return top;
}

std::string draw_level(const LevelView &view)
{
	const std::vector<Range> segments = segments_of(view.ranges);
	const Scale scale(view.top, view.width);
	const std::vector<Run> runs = runs_of(segments, scale);
	const Glyphs &glyphs = view.utf8 ? UTF8_GLYPHS : ASCII_GLYPHS;

	return marker_line(view, scale, glyphs) + '\n' +
	       bar_line(runs, glyphs, view.colour) + '\n' +
	       numbers_line(runs, scale, view.top);
}

} // namespace orvadctl
