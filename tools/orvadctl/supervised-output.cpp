#include "supervised-output.h"

namespace orvadctl
{

namespace
{

struct LineState {
	const char *word;
	char letter;
	Style style;
};

constexpr LineState LINE_STATES[] = {
	{"open", 'o', Style::LINE_OPEN},
	{"closed", 'c', Style::LINE_CLOSED},
	{"short", 's', Style::LINE_SHORT},
	{"cut", 'x', Style::LINE_CUT},
	{UNDEFINED_STATE, 'u', Style::WARNING},
};

const LineState *find_line_state(const std::string &word)
{
	for (const LineState &known : LINE_STATES)
		if (word == known.word)
			return &known;
	return nullptr;
}

} // namespace

Style line_state_style(const std::string &state)
{
	const LineState *known = find_line_state(state);

	return known ? known->style : Style::PLAIN;
}

char line_state_letter(const std::string &state)
{
	const LineState *known = find_line_state(state);

	return known ? known->letter : '?';
}

std::string level_detail(const Readout &readout,
			 const std::vector<Range> &ranges)
{
	std::string text = ", level " + std::to_string(readout.level);
	auto margin = margin_of(ranges, readout);

	if (!margin)
		return text;
	if (margin->distance == 0)
		return text + ", at its edge";
	return text + ", " + std::to_string(margin->distance) +
	       " from its edge " + std::to_string(margin->edge);
}

void add_readout_members(JsonWriter &json, const Readout &readout)
{
	json.member("state", readout.state);
	json.member("level", readout.level);
}

void add_range_members(JsonWriter &json, const std::vector<Range> &ranges)
{
	json.begin_array("ranges");
	for (const Range &range : ranges) {
		json.begin_object();
		json.member("state", range.state);
		json.member("lower", range.lower);
		json.member("upper", range.upper);
		json.end_object();
	}
	json.end_array();
}

} // namespace orvadctl
