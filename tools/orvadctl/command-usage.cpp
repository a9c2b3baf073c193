#include "command.h"
#include "port-output.h"
#include "port-settings.h"
#include "side-setting.h"
#include "text.h"

namespace orvadctl
{

namespace
{

bool change_usage(const Target &target, const std::string &usage,
		  GError **error)
{
	if (iocontrol_state_call_set_usage_sync(
		    target.daemon.get(),
		    static_cast<guint>(target.port->number), usage.c_str(),
		    nullptr, error))
		return true;
	explain_port_error(error, *target.port);
	return false;
}

void show_usage(Context &context, const Port &port, const std::string &usage)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		json.member("usage", usage);
		context.output.line(json.document());
		return;
	}
	context.output.line(escape(port_label(port.number, port.name)) + ": " +
			    text_or_dash(usage));
}

bool run_usage(Context &context, GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;
	const bool changes = arguments.size() > 1;
	Target target;
	std::string usage;

	if ((changes && !check_text(arguments[1], error)) ||
	    !find_reachable_target(context, target, error) ||
	    (changes && !change_usage(target, arguments[1], error)) ||
	    !fetch_usage(target.daemon.get(), *target.port, usage, error))
		return false;
	show_usage(context, *target.port, usage);
	return true;
}

} // namespace

const Command USAGE_COMMAND = {
	"usage",
	"PORT [TEXT]",
	"show or set what a port is used for",
	"Shows what the PORT (a number or a configuration name) is used for, "
	"in the\n"
	"user's words, or sets it.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"usage\": text}.",
	OPTIONS_COMMON,
	1,
	2,
	run_usage,
};

} // namespace orvadctl
