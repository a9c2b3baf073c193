#include "live-readout.h"

#include "level-view.h"
#include "port-output.h"
#include "supervised-output.h"
#include "terminal.h"
#include "text.h"
#include "timestamp.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

/// The word that a report comes down to, and what there is to add.
struct Words {
	std::string state; ///< Empty: it could not be measured.
	std::string rest;
};

Words words_of(const LineReport &report, bool with_ranges)
{
	if (!report.readout)
		return {"", escape(report.problem)};
	Words words = {escape(report.readout->state), ""};
	words.rest = level_detail(*report.readout,
				  with_ranges ? report.ranges
					      : std::vector<Range>());
	if (with_ranges && !report.ranges_problem.empty())
		words.rest +=
			", ranges unknown: " + escape(report.ranges_problem);
	return words;
}

/// Words in their colours, no wider than columns.
std::string styled_words(const LineReport &report, const Words &words,
			 std::size_t columns, const Output &output)
{
	const std::string state = clip(words.state, columns);
	const std::string rest =
		clip(words.rest, columns - display_width(state));

	if (!report.readout)
		return output.styled(rest, Style::WARNING);
	return output.styled(state, line_state_style(report.readout->state)) +
	       rest;
}

std::string label_of(const Port &port)
{
	return escape(port_label(port.number, port.name));
}

std::string text_line(const LineReport &report, const Words &words,
		      const Output &output)
{
	DateTimePtr now = local_now();

	return output.styled(time_text(now.get()), Style::FAINT) + " " +
	       label_of(report.port) + ": " +
	       styled_words(report, words, std::string::npos, output);
}

std::string json_line(const LineReport &report)
{
	DateTimePtr now = local_now();
	JsonWriter json;

	json.member("type", report.readout ? "readout" : "failed");
	json.member("time", iso_time_text(now.get()));
	add_port_reference(json, report.port.number, report.port.name);
	if (report.readout)
		add_readout_members(json, *report.readout);
	else
		json.member("message", report.problem);
	return json.line();
}

GDBusConnection *connection_of(IOControlState *daemon)
{
	return g_dbus_proxy_get_connection(G_DBUS_PROXY(daemon));
}

} // namespace

LiveReadout::LiveReadout(Context &context, StatePtr daemon,
			 SupervisedPtr supervised)
	: daemon_(std::move(daemon)), supervised_(std::move(supervised)),
	  feed_(context, connection_of(daemon_.get()), STATE_NAME,
		"the port daemon"),
	  poll_(
		  context.options.arguments.front(), daemon_.get(),
		  supervised_.get(),
		  [this](const LineReport &report) { show(report); },
		  [this](GError *error) { feed_.call_failed(error, true); }),
	  redraws_(!context.options.json && can_redraw(context.output.fd())),
	  utf8_(locale_is_utf8())
{
}

/// Nothing is drawn over that stands above a line about the daemon.
void LiveReadout::begin_anew()
{
	shown_.reset();
	drawing_.leave();
}

void LiveReadout::show(const LineReport &report)
{
	const Words words = words_of(report, !feed_.json());
	const std::string news = words.state + words.rest;
	const bool changed = shown_ != news;

	shown_ = news;
	if (report.readout)
		highest_level_ =
			std::max(highest_level_, report.readout->level);
	if (redraws_)
		draw(report, changed);
	else if (changed)
		feed_.counted_line(feed_.json() ? json_line(report)
						: text_line(report, words,
							    feed_.output()));
}

void LiveReadout::draw(const LineReport &report, bool changed)
{
	const std::string next = frame(report);

	// The terminal's width and the ranges change the picture, too.
	if (!changed && drawing_.shows(next))
		return;
	const std::string text =
		drawing_.replace(next, terminal_width(feed_.output().fd()));
	if (changed)
		feed_.counted_line(text);
	else
		feed_.line(text);
}

std::string LiveReadout::frame(const LineReport &report) const
{
	const std::size_t width = terminal_width(feed_.output().fd());
	LevelView view;

	view.ranges = report.ranges;
	if (report.readout)
		view.level = report.readout->level;
	view.top = scale_top(report.ranges, highest_level_);
	view.width = width;
	view.utf8 = utf8_;
	view.colour = feed_.output().colour();
	return clip(label_of(report.port), width) + '\n' +
	       styled_words(report, words_of(report, true), width,
			    feed_.output()) +
	       '\n' + draw_level(view);
}

bool LiveReadout::run(GError **error)
{
	return feed_.run(
		[this] {
			begin_anew();
			poll_.start();
		},
		[this] {
			begin_anew();
			poll_.stop();
		},
		error);
}

} // namespace orvadctl
