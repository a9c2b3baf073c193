#include "command.h"
#include "error.h"
#include "live-readout.h"
#include "port-output.h"
#include "supervised-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

void show_readout(Context &context, const Port &port, const Readout &readout)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		add_readout_members(json, readout);
		context.output.line(json.document());
		return;
	}
	context.output.line(
		escape(port_label(port.number, port.name)) + ": " +
		context.output.styled(escape(readout.state),
				      line_state_style(readout.state)) +
		level_detail(readout, {}));
}

bool run_once(Context &context, GError **error)
{
	SupervisedTarget target;
	Readout readout;

	if (!find_supervised_target(context, target, error))
		return false;
	if (!fetch_readout(target.supervised.get(), *target.port, readout,
			   error)) {
		explain_supervised_error(error, *target.port);
		return false;
	}
	show_readout(context, *target.port, readout);
	return true;
}

bool run_live(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);

	if (!daemon)
		return false;
	SupervisedPtr supervised = open_supervised(daemon.get(), error);
	return supervised &&
	       LiveReadout(context, std::move(daemon), std::move(supervised))
		       .run(error);
}

bool run_readout(Context &context, GError **error)
{
	const Options &options = context.options;

	if (options.live)
		return run_live(context, error);
	if (options.count == 0 && options.duration_ms == 0)
		return run_once(context, error);
	set_usage_error(error, "readout: %s goes with --live",
			options.count != 0 ? "--count" : "--for");
	return false;
}

} // namespace

const Command READOUT_COMMAND = {
	"readout",
	"PORT",
	"measure a supervised input",
	"Has the line of the supervised input PORT (a number or a "
	"configuration\n"
	"name) measured and shows its state and level.\n"
	"\n"
	"With --live does so five times a second until interrupted. On a\n"
	"terminal, a mark shows where the level is among the ranges: open,\n"
	"closed, short and cut, or o, c, s and x where there is no room. The\n"
	"edge is the nearest level beyond which the state is another; the "
	"ends\n"
	"of a converter's scale are none. Anything but a terminal gets a line\n"
	"for each change.\n"
	"--count counts changes, and like --for goes with --live. Waits for a\n"
	"daemon that is not there.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"state\": text,\n"
	"\"level\": number}. With --live an object in each line, told apart "
	"by\n"
	"\"type\":\n"
	"\"readout\": \"time\" (ISO 8601), and the same members\n"
	"\"failed\": \"time\", \"number\", \"name\", \"message\"\n"
	"\"presence\": \"time\", \"running\": bool (the daemon)",
	OPTION_LIVE | OPTION_COUNT | OPTION_FOR,
	1,
	1,
	run_readout,
};

} // namespace orvadctl
