#include "arguments.h"
#include "command.h"
#include "error.h"
#include "port-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

bool drive(const Target &target, bool simulated, bool active, GError **error)
{
	auto number = static_cast<guint>(target.port->number);
	bool done = simulated ? iocontrol_state_call_set_virtual_sync(
					target.daemon.get(), number, active,
					nullptr, error)
			      : iocontrol_state_call_set_state_sync(
					target.daemon.get(), number, active,
					nullptr, error);

	if (!done)
		explain_port_error(error, *target.port);
	return done;
}

void show(Context &context, const Port &port, bool active, bool simulated)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		json.member("active", active);
		json.member("simulated", simulated);
		context.output.line(json.document());
		return;
	}
	Cell state = state_cell(active);
	context.output.line(escape(port_label(port.number, port.name)) + ": " +
			    context.output.styled(state.text, state.style) +
			    (simulated ? " (simulated)" : ""));
}

bool run_set(Context &context, GError **error)
{
	const std::string &word = context.options.arguments[1];
	std::optional<bool> active = parse_switch(word);
	Target target;

	if (!active) {
		set_usage_error(error, "\"%s\" is neither on nor off",
				word.c_str());
		return false;
	}
	if (!find_reachable_target(context, target, error))
		return false;
	bool simulated = is_simulated(context, *target.port);
	if (!drive(target, simulated, *active, error))
		return false;
	show(context, *target.port, *active, simulated);
	return true;
}

} // namespace

const Command SET_COMMAND = {
	"set",
	"PORT on|off",
	"switch an output, or simulate a change",
	"Drives the output PORT (a number or a configuration name); for on "
	"and\n"
	"off, active and inactive or 1 and 0 will do. A port without hardware "
	"is\n"
	"always simulated, as is any other with --virtual: its change is\n"
	"announced, its line left alone.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"active\": bool,\n"
	"\"simulated\": bool}.",
	OPTION_VIRTUAL,
	2,
	2,
	run_set,
};

} // namespace orvadctl
