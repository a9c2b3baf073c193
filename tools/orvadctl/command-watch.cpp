#include "command.h"
#include "feed.h"
#include "live-ports.h"
#include "port-follow.h"
#include "terminal.h"

namespace orvadctl
{

namespace
{

std::string line_text(const Feed &feed, const Announced &announced,
		      const std::string &name)
{
	return feed.json() ? change_json(announced.change, name,
					 announced.time.get())
			   : change_text(announced.change, name,
					 announced.time.get(), feed.output());
}

bool watch_in_lines(Context &context, StatePtr daemon, GError **error)
{
	GDBusConnection *connection =
		g_dbus_proxy_get_connection(G_DBUS_PROXY(daemon.get()));
	Feed feed(context, connection, STATE_NAME, "the port daemon");
	PortFollow ports(
		context.options.arguments, daemon.get(),
		PortFollow::Listing::ONCE,
		{[&feed](const Announced &announced, const std::string &name) {
			 feed.counted_line(line_text(feed, announced, name));
		 },
		 [](const std::vector<Port> &) {},
		 [&feed](GError *failure, bool fatal) {
			 feed.call_failed(failure, fatal);
		 }});

	return feed.run([&ports] { ports.appeared(); },
			[&ports] { ports.vanished(); }, error);
}

bool wants_table(const Context &context)
{
	return !context.options.json && !context.options.lines &&
	       can_redraw(context.output.fd());
}

bool run_watch(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);

	if (!daemon)
		return false;
	if (wants_table(context))
		return LivePorts(context, std::move(daemon)).run(error);
	return watch_in_lines(context, std::move(daemon), error);
}

} // namespace

const Command WATCH_COMMAND = {
	"watch",
	"[PORT...]",
	"show changes of the ports as they happen",
	"Shows every change of the PORTs, or of all, and the end of every\n"
	"sequence, until interrupted; says when the daemon goes away and "
	"comes\n"
	"back. Waits for a daemon that is not there yet. --count counts "
	"changes\n"
	"and ends of sequences.\n"
	"\n"
	"On a terminal, a table of the ports is kept up to date in place: * "
	"marks\n"
	"what has just changed, and a port that was taken out of service is\n"
	"absent, which shows within a second. What the window has no room for "
	"is\n"
	"cut off. With --lines, and on anything but a terminal, there is a "
	"line\n"
	"for each change.\n"
	"\n"
	"JSON, an object in each line, told apart by \"type\":\n"
	"\"changed\": \"time\" (ISO 8601), \"number\", \"name\": text or "
	"null,\n"
	"  \"active\": bool, \"direction\": \"input\"|\"output\",\n"
	"  \"active_level\": \"open\"|\"closed\", \"simulated\": bool,\n"
	"  \"virtual\": bool, \"hidden\": bool (the port's properties)\n"
	"\"sequence-done\": \"time\", \"number\", \"name\"\n"
	"\"presence\": \"time\", \"running\": bool (the daemon)",
	OPTION_COUNT | OPTION_FOR | OPTION_LINES,
	0,
	ANY_NUMBER,
	run_watch,
};

} // namespace orvadctl
