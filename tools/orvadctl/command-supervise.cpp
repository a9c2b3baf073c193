#include "arguments.h"
#include "command.h"
#include "error.h"
#include "port-output.h"
#include "supervision-list.h"
#include "text.h"

namespace orvadctl
{

namespace
{

/// What PORT on|off asks for.
constexpr std::size_t SWITCHING_ARGUMENTS = 2;

void show_supervise(Context &context, const Port &port, bool supervised)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		json.member("supervised", supervised);
		context.output.line(json.document());
		return;
	}
	context.output.line(escape(port_label(port.number, port.name)) +
			    (supervised ? ": supervised" : ": not supervised"));
}

bool switch_port(Context &context, GError **error)
{
	const std::string &word = context.options.arguments[1];
	std::optional<bool> supervised = parse_switch(word);
	SupervisedTarget target;

	if (!supervised) {
		set_usage_error(error, "\"%s\" is neither on nor off",
				word.c_str());
		return false;
	}
	if (!find_supervised_target(context, target, error))
		return false;
	if (!iosupervised_supervised_call_set_supervised_sync(
		    target.supervised.get(),
		    static_cast<guint>(target.port->number), *supervised,
		    nullptr, error)) {
		explain_supervised_error(error, *target.port);
		return false;
	}
	show_supervise(context, *target.port, *supervised);
	return true;
}

bool list(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	SupervisionList found;

	if (!daemon || !fetch_supervision_list(daemon.get(), found, error))
		return false;
	if (context.options.json)
		context.output.line(supervision_json(found));
	else
		context.output.print(
			supervision_text(found, context.output.colour()));
	return true;
}

bool run_supervise(Context &context, GError **error)
{
	const std::size_t count = context.options.arguments.size();

	if (count == 0)
		return list(context, error);
	if (count == SWITCHING_ARGUMENTS)
		return switch_port(context, error);
	set_usage_error(error, "supervise: missing argument");
	return false;
}

} // namespace

const Command SUPERVISE_COMMAND = {
	"supervise",
	"[PORT on|off]",
	"list what can be supervised, or switch it",
	"Lists the ports that can be supervised, and whether they are. With "
	"PORT (a\n"
	"number or a configuration name) has its wiring watched for tampering, "
	"or no\n"
	"longer; the daemon keeps the setting. 1 and 0 will do for on and off. "
	"A\n"
	"configurable port becomes an input.\n"
	"\n"
	"JSON: {\"ports\": [{\"number\", \"name\": text or null,\n"
	"\"supervised\": bool}], \"inputs\": number, \"outputs\": number}, "
	"the numbers\n"
	"of all ports; when switching, one of these objects.",
	OPTIONS_COMMON,
	0,
	SWITCHING_ARGUMENTS,
	run_supervise,
};

} // namespace orvadctl
