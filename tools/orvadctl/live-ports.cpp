#include "live-ports.h"

#include "terminal.h"

#include <csignal>
#include <glib-unix.h>

namespace orvadctl
{

namespace
{

/// Changes that come in this soon after one another are drawn at once: no
/// person sees them apart, and a slow terminal must not fall behind.
constexpr guint DRAW_DELAY_MS = 40;
constexpr gint64 US_PER_MS = 1000;

} // namespace

LivePorts::LivePorts(Context &context, StatePtr daemon)
	: context_(context), daemon_(std::move(daemon)),
	  follow_(context.options.arguments, daemon_.get(),
		  PortFollow::Listing::AGAIN,
		  {[this](const Announced &announced, const std::string &name) {
			   take(announced, name);
		   },
		   [this](const std::vector<Port> &ports) { list(ports); },
		   [this](GError *error, bool fatal) {
			   call_failed(error, fatal);
		   }}),
	  live_(follow_.connection())
{
}

void LivePorts::take(const Announced &announced, const std::string &name)
{
	if (live_.ended())
		return;
	table_.take(announced, name);
	if (++counted_ == context_.options.count)
		live_.stop();
	draw_soon();
}

void LivePorts::list(const std::vector<Port> &ports)
{
	table_.list(ports);
	status_ = ports.empty() ? "no port is in service" : "";
	draw_soon();
}

void LivePorts::call_failed(GError *error, bool fatal)
{
	const std::string problem = live_.call_failed(error, fatal);

	if (problem.empty())
		return;
	status_ = problem;
	draw_soon();
}

void LivePorts::show_presence(bool there)
{
	status_ = presence_.update(there);
	if (!there)
		table_.lose();
	draw_soon();
}

void LivePorts::draw_soon()
{
	if (drawing_soon_.id() != 0)
		return;
	drawing_soon_.reset(g_timeout_add(
		DRAW_DELAY_MS,
		[](gpointer self) -> gboolean {
			auto *ports = static_cast<LivePorts *>(self);
			ports->drawing_soon_.release();
			ports->draw();
			return G_SOURCE_REMOVE;
		},
		this));
}

std::string LivePorts::frame(std::size_t columns) const
{
	const Output &output = context_.output;

	return table_.text({columns, terminal_height(output.fd()),
			    g_get_monotonic_time(), output.colour(), status_});
}

void LivePorts::write(const std::string &frame, std::size_t columns)
{
	context_.output.line(drawing_.replace(frame, columns));
	if (context_.output.error() != 0)
		live_.stop();
}

void LivePorts::draw()
{
	draw_again_for_marks();
	const std::size_t columns = terminal_width(context_.output.fd());
	const std::string next = frame(columns);

	if (!drawing_.shows(next))
		write(next, columns);
}

/// What the user typed below the table, as the "^C", goes in any case.
void LivePorts::draw_last()
{
	const std::size_t columns = terminal_width(context_.output.fd());

	write(frame(columns), columns);
}

void LivePorts::draw_again_for_marks()
{
	const gint64 now_us = g_get_monotonic_time();
	const auto next_us = table_.next_change_us(now_us);

	marks_.reset();
	if (!next_us)
		return;
	marks_.reset(g_timeout_add(
		static_cast<guint>((*next_us - now_us) / US_PER_MS + 1),
		[](gpointer self) -> gboolean {
			auto *ports = static_cast<LivePorts *>(self);
			ports->marks_.release();
			ports->draw_soon();
			return G_SOURCE_REMOVE;
		},
		this));
}

bool LivePorts::run(GError **error)
{
	live_.end_with_user();
	live_.end_with_reader(context_.output);
	if (context_.options.duration_ms != 0)
		live_.end_after(context_.options.duration_ms);
	resized_.reset(g_unix_signal_add(
		SIGWINCH,
		[](gpointer self) -> gboolean {
			static_cast<LivePorts *>(self)->draw_soon();
			return G_SOURCE_CONTINUE;
		},
		this));
	const NameWatch watch = follow_.watch_daemon(
		[this](bool there) { show_presence(there); });
	const bool ended_well = live_.run(error);
	if (ended_well)
		draw_last();
	return ended_well;
}

} // namespace orvadctl
