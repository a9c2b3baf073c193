#include "command.h"
#include "port-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

/// What only real ports have.
struct Settings {
	std::string input_level;
	std::string output_level;
	std::string usage;
};

bool fetch_levels(IOControlState *daemon, const Port &port, Settings &settings,
		  GError **error)
{
	char *input = nullptr;
	char *output = nullptr;

	bool answered = iocontrol_state_call_get_active_sync(
		daemon, static_cast<guint>(port.number), &input, &output,
		nullptr, error);
	util::CharPtr owned_input(input);
	util::CharPtr owned_output(output);
	if (!answered) {
		explain_port_error(error, port);
		return false;
	}
	settings.input_level = input;
	settings.output_level = output;
	return true;
}

bool fetch_usage(IOControlState *daemon, const Port &port, Settings &settings,
		 GError **error)
{
	char *usage = nullptr;

	bool answered = iocontrol_state_call_get_usage_sync(
		daemon, static_cast<guint>(port.number), &usage, nullptr,
		error);
	util::CharPtr owned_usage(usage);
	if (!answered) {
		explain_port_error(error, port);
		return false;
	}
	settings.usage = usage;
	return true;
}

bool fetch_settings(IOControlState *daemon, const Port &port,
		    std::optional<Settings> &settings, GError **error)
{
	if (!port.real())
		return true;
	settings.emplace();
	return fetch_levels(daemon, port, *settings, error) &&
	       fetch_usage(daemon, port, *settings, error);
}

std::string get_json(const Port &port, const std::optional<UserNames> &names,
		     const std::optional<Settings> &settings)
{
	JsonWriter json;

	add_port_members(json, port);
	add_name_members(json, names);
	if (settings) {
		json.member("input_active_level", settings->input_level);
		json.member("output_active_level", settings->output_level);
		json.member("usage", settings->usage);
	} else {
		json.null_member("input_active_level");
		json.null_member("output_active_level");
		json.null_member("usage");
	}
	return json.document();
}

void add_field(Table &table, const char *title, Cell value)
{
	table.add_row({Cell(std::string(title) + ":", Style::HEADING),
		       std::move(value)});
}

std::string get_text(const Port &port, const std::optional<UserNames> &names,
		     const std::optional<Settings> &settings, bool colour)
{
	Table table;

	add_field(table, "Name", escape(port.name));
	add_field(table, "Number", std::to_string(port.number));
	add_field(table, "Kind", std::string(kind_text(port)));
	add_field(table, "Direction", std::string(direction_text(port.input)));
	add_field(table, "State", state_cell(port.active));
	add_field(table, "Active level", std::string(level_text(port.open)));
	if (names) {
		add_field(table, "Input name", escape(names->input));
		add_field(table, "Output name", escape(names->output));
	}
	if (settings) {
		add_field(table, "Level as input",
			  escape(settings->input_level));
		add_field(table, "Level as output",
			  escape(settings->output_level));
		add_field(table, "Usage", escape(settings->usage));
	}
	add_field(table, "Properties", properties_text(port));
	return table.text(colour);
}

bool run(Context &context, GError **error)
{
	Target target;
	std::optional<UserNames> names;
	std::optional<Settings> settings;

	if (!find_target(context, target, error) ||
	    !fetch_names(target.daemon.get(), *target.port, names, error) ||
	    !fetch_settings(target.daemon.get(), *target.port, settings, error))
		return false;
	if (context.options.json)
		context.output.line(get_json(*target.port, names, settings));
	else
		context.output.print(get_text(*target.port, names, settings,
					      context.output.colour()));
	return true;
}

} // namespace

const Command GET_COMMAND = {
	"get",
	"PORT",
	"show one port's state and settings",
	"PORT is a number or a configuration name, as \"list\" shows them; "
	"what\n"
	"is both is taken as the number.\n"
	"\n"
	"JSON: an object as in \"list\" with \"input_name\", \"output_name\",\n"
	"\"input_active_level\", \"output_active_level\" and \"usage\" "
	"besides,\n"
	"texts for a real port and null for any other.",
	OPTIONS_COMMON,
	1,
	1,
	run,
};

} // namespace orvadctl
