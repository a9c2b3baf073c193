#include "arguments.h"
#include "command.h"
#include "error.h"
#include "port-output.h"
#include "supervised-output.h"
#include "text.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

/// What PORT STATE LOWER UPPER asks for.
constexpr std::size_t RANGE_ARGUMENTS = 4;

Cell line_state_cell(const std::string &state)
{
	return {escape(state), line_state_style(state)};
}

std::string interval_text(guint32 lower, guint32 upper)
{
	std::string text = std::to_string(lower);

	return lower == upper ? text : text + "-" + std::to_string(upper);
}

/// Which levels of the range a later one takes: "50-100 mean short".
std::string remark_text(const Range &range, const std::vector<Range> &segments)
{
	std::string text;

	if (range.empty())
		return "no level is in it";
	for (auto segment = find_segment(segments, range.lower);
	     segment != segments.end() && segment->lower <= range.upper;
	     ++segment) {
		if (segment->state == range.state)
			continue;
		guint32 lower = std::max(segment->lower, range.lower);
		guint32 upper = std::min(segment->upper, range.upper);
		text += text.empty() ? "" : ", ";
		text += interval_text(lower, upper) +
			(lower == upper ? " means " : " mean ") +
			escape(segment->state);
	}
	return text;
}

std::string ranges_text(const std::vector<Range> &ranges,
			const std::vector<std::string> &unset, bool colour)
{
	const std::vector<Range> segments = segments_of(ranges);
	Table table;

	table.add_row({Cell("STATE", Style::HEADING),
		       Cell("LOWER", Style::HEADING),
		       Cell("UPPER", Style::HEADING),
		       Cell("REMARK", Style::HEADING)});
	for (const Range &range : ranges)
		table.add_row({line_state_cell(range.state),
			       std::to_string(range.lower),
			       std::to_string(range.upper),
			       remark_text(range, segments)});
	for (const std::string &state : unset)
		table.add_row({line_state_cell(state), std::string("-"),
			       std::string("-"), std::string("no range")});
	return table.text(colour);
}

std::string ranges_json(const Port &port, const std::vector<Range> &ranges,
			const std::vector<std::string> &unset)
{
	JsonWriter json;

	add_port_reference(json, port.number, port.name);
	add_range_members(json, ranges);
	json.member("without_range", unset);
	return json.document();
}

/// The states that have no range, of those that ranges can be set for.
std::vector<std::string> unset_states(const std::vector<std::string> &states,
				      const std::vector<Range> &ranges)
{
	std::vector<std::string> unset;

	for (const std::string &state : states)
		if (std::none_of(ranges.begin(), ranges.end(),
				 [&state](const Range &range) {
					 return range.state == state;
				 }))
			unset.push_back(state);
	return unset;
}

bool show_ranges(Context &context, GError **error)
{
	SupervisedTarget target;
	std::vector<Range> ranges;
	std::vector<std::string> states;

	if (!find_supervised_target(context, target, error))
		return false;
	IOSupervisedSupervised *supervised = target.supervised.get();
	if (!fetch_ranges(supervised, *target.port, ranges, error) ||
	    !fetch_states(supervised, *target.port, states, error)) {
		explain_supervised_error(error, *target.port);
		return false;
	}
	auto unset = unset_states(states, ranges);
	if (context.options.json)
		context.output.line(ranges_json(*target.port, ranges, unset));
	else
		context.output.print(
			ranges_text(ranges, unset, context.output.colour()));
	return true;
}

bool parse_limit_argument(const std::string &text, guint32 &limit,
			  GError **error)
{
	auto parsed = parse_limit(text);

	if (!parsed) {
		set_usage_error(error, "\"%s\" is no level, 0 to %u",
				text.c_str(), G_MAXUINT32);
		return false;
	}
	limit = *parsed;
	return true;
}

/// Which states and limits will do is the daemon's business, as long as they
/// can be sent at all.
bool parse_range(const std::vector<std::string> &arguments, Range &range,
		 GError **error)
{
	range.state = arguments[1];
	if (!g_utf8_validate(range.state.c_str(), -1, nullptr)) {
		set_usage_error(error, "\"%s\" is no state",
				range.state.c_str());
		return false;
	}
	return parse_limit_argument(arguments[2], range.lower, error) &&
	       parse_limit_argument(arguments[3], range.upper, error);
}

void show_range(Context &context, const Port &port, const Range &range)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		add_range_members(json, {range});
		context.output.line(json.document());
		return;
	}
	Cell state = line_state_cell(range.state);
	context.output.line(escape(port_label(port.number, port.name)) + ": " +
			    context.output.styled(state.text, state.style) +
			    " from " + std::to_string(range.lower) + " to " +
			    std::to_string(range.upper));
}

bool set_range(Context &context, GError **error)
{
	Range range;
	SupervisedTarget target;

	if (!parse_range(context.options.arguments, range, error) ||
	    !find_supervised_target(context, target, error))
		return false;
	if (!iosupervised_supervised_call_set_supervised_ranges_sync(
		    target.supervised.get(),
		    static_cast<guint>(target.port->number),
		    range.state.c_str(), range.lower, range.upper, nullptr,
		    error)) {
		explain_supervised_error(error, *target.port);
		return false;
	}
	show_range(context, *target.port, range);
	return true;
}

bool run_ranges(Context &context, GError **error)
{
	const std::size_t count = context.options.arguments.size();

	if (count == 1)
		return show_ranges(context, error);
	if (count == RANGE_ARGUMENTS)
		return set_range(context, error);
	set_usage_error(error, "ranges: a range takes STATE, LOWER and UPPER");
	return false;
}

} // namespace

const Command RANGES_COMMAND = {
	"ranges",
	"PORT [STATE LOWER UPPER]",
	"show or set a supervised input's ranges",
	"Shows the ranges of the supervised input PORT (a number or a\n"
	"configuration name) in the order in which the daemon looks at them. "
	"The\n"
	"last range that a level is in counts; REMARK tells which levels of a "
	"range\n"
	"mean something else for that reason. States without a range come "
	"last.\n"
	"\n"
	"With STATE (open, closed, short or cut) sets its range, both limits\n"
	"included, in place of the one it had; it is the last one then. LOWER "
	"and\n"
	"UPPER are decimal, or hexadecimal behind 0x.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"ranges\": [{\"state\",\n"
	"\"lower\": number, \"upper\": number}], \"without_range\": [text]}; "
	"when\n"
	"setting, the range that was set, and not the latter.",
	OPTIONS_COMMON,
	1,
	RANGE_ARGUMENTS,
	run_ranges,
};

} // namespace orvadctl
