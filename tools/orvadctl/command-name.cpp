#include "command.h"
#include "error.h"
#include "port-output.h"
#include "side-setting.h"
#include "text.h"

namespace orvadctl
{

namespace
{

bool ask(const Target &target, std::optional<UserNames> &names, GError **error)
{
	const Port &port = *target.port;

	if (!fetch_names(target.daemon.get(), port, names, error))
		return false;
	if (names)
		return true;
	set_failure(error, "%s: only real I/O ports have names",
		    port_label(port.number, port.name).c_str());
	return false;
}

std::string name_text(const std::string &name)
{
	return name.empty() ? "no name" : quote(name);
}

void show_name(Context &context, const Port &port,
	       const std::optional<UserNames> &names)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		add_name_members(json, names);
		context.output.line(json.document());
		return;
	}
	context.output.line(escape(port_label(port.number, port.name)) + ": " +
			    name_text(names->input) + " as input, " +
			    name_text(names->output) + " as output");
}

bool run_name(Context &context, GError **error)
{
	std::optional<SideSetting> setting;
	std::optional<UserNames> names;
	Target target;

	if (!parse_side_setting(context, "TEXT", setting, error) ||
	    !find_reachable_target(context, target, error) ||
	    (setting &&
	     !change_side_setting(target, *setting,
				  iocontrol_state_call_set_name_sync, error)) ||
	    !ask(target, names, error))
		return false;
	show_name(context, *target.port, names);
	return true;
}

} // namespace

const Command NAME_COMMAND = {
	"name",
	"PORT [input|output TEXT]",
	"show or set a port's names for people",
	"Shows the names that the user gave the PORT (a number or a "
	"configuration\n"
	"name) as input and as output, or sets one of them; an empty TEXT "
	"takes it\n"
	"away. The configuration name stays what it is.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null, \"input_name\",\n"
	"\"output_name\"}, empty where there is none.",
	OPTIONS_COMMON,
	1,
	MOST_SIDE_SETTING_ARGUMENTS,
	run_name,
};

} // namespace orvadctl
