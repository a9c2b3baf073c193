#include "arguments.h"
#include "command.h"
#include "error.h"
#include "port-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

void show(Context &context, const Port &port, bool supervised)
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

bool run(Context &context, GError **error)
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
	show(context, *target.port, *supervised);
	return true;
}

} // namespace

const Command SUPERVISE_COMMAND = {
	"supervise",
	"PORT on|off",
	"switch the supervision of an input on or off",
	"Has the wiring of the input PORT (a number or a configuration name)\n"
	"watched for tampering, or no longer; the daemon keeps the setting. "
	"1 and\n"
	"0 will do for on and off. A configurable port becomes an input.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"supervised\": bool}.",
	OPTIONS_COMMON,
	2,
	2,
	run,
};

} // namespace orvadctl
