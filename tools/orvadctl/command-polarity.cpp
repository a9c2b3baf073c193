#include "arguments.h"
#include "command.h"
#include "error.h"
#include "port-output.h"
#include "port-settings.h"
#include "side-setting.h"
#include "text.h"

namespace orvadctl
{

namespace
{

bool parse_setting(const Context &context, std::optional<SideSetting> &setting,
		   GError **error)
{
	if (!parse_side_setting(context, "LEVEL", setting, error))
		return false;
	if (!setting || parse_level(setting->value))
		return true;
	set_usage_error(error, "\"%s\" is neither open nor closed",
			setting->value.c_str());
	return false;
}

void show_polarity(Context &context, const Port &port,
		   const ActiveLevels &levels)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		json.member("input_active_level", levels.input);
		json.member("output_active_level", levels.output);
		context.output.line(json.document());
		return;
	}
	context.output.line(escape(port_label(port.number, port.name)) +
			    ": active when " + escape(levels.input) +
			    " as input, when " + escape(levels.output) +
			    " as output");
}

bool run_polarity(Context &context, GError **error)
{
	std::optional<SideSetting> setting;
	Target target;
	ActiveLevels levels;

	if (!parse_setting(context, setting, error) ||
	    !find_reachable_target(context, target, error) ||
	    (setting && !change_side_setting(
				target, *setting,
				iocontrol_state_call_set_active_sync, error)) ||
	    !fetch_levels(target.daemon.get(), *target.port, levels, error))
		return false;
	show_polarity(context, *target.port, levels);
	return true;
}

} // namespace

const Command POLARITY_COMMAND = {
	"polarity",
	"PORT [input|output LEVEL]",
	"show or set a port's active levels",
	"Shows whether the PORT (a number or a configuration name) is active "
	"while its\n"
	"line is open or closed, as input and as output, or sets the LEVEL "
	"(open or\n"
	"closed) of one of them. An output keeps its state: its line changes. "
	"A\n"
	"running sequence ends.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null,\n"
	"\"input_active_level\": \"open\"|\"closed\", "
	"\"output_active_level\"}.",
	OPTIONS_COMMON,
	1,
	MOST_SIDE_SETTING_ARGUMENTS,
	run_polarity,
};

} // namespace orvadctl
