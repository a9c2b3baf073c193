#include "command.h"
#include "port-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

void show_state(Context &context, const Port &port, bool active)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		json.member("active", active);
		context.output.line(json.document());
		return;
	}
	Cell state = state_cell(active);
	context.output.line(escape(port_label(port.number, port.name)) + ": " +
			    context.output.styled(state.text, state.style));
}

bool run_state(Context &context, GError **error)
{
	Target target;
	gboolean active = FALSE;

	if (!find_reachable_target(context, target, error))
		return false;
	if (!iocontrol_state_call_get_state_sync(
		    target.daemon.get(),
		    static_cast<guint>(target.port->number), &active, nullptr,
		    error)) {
		explain_port_error(error, *target.port);
		return false;
	}
	show_state(context, *target.port, active);
	return true;
}

} // namespace

const Command STATE_COMMAND = {
	"state",
	"PORT",
	"read a port's line",
	"Has the line of the PORT (a number or a configuration name) read, and "
	"shows\n"
	"its state; \"list\" and \"get\" show the one that the daemon knows. A "
	"line that\n"
	"cannot be read is inactive.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"active\": bool}.",
	OPTIONS_COMMON,
	1,
	1,
	run_state,
};

} // namespace orvadctl
