#include "command.h"
#include "port-output.h"
#include "port-settings.h"
#include "supervised-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

/// What only real ports have.
struct Settings {
	ActiveLevels levels;
	std::string usage;
};

bool fetch_settings(IOControlState *daemon, const Port &port,
		    std::optional<Settings> &settings, GError **error)
{
	if (!port.real())
		return true;
	settings.emplace();
	return fetch_levels(daemon, port, settings->levels, error) &&
	       fetch_usage(daemon, port, settings->usage, error);
}

/// All that there is to tell about a port.
struct Details {
	Port port;
	std::optional<UserNames> names;
	std::optional<Settings> settings;
	std::optional<Supervision> supervision;
};

bool fetch_details(IOControlState *daemon, Details &details, GError **error)
{
	const Port &port = details.port;

	return fetch_names(daemon, port, details.names, error) &&
	       fetch_settings(daemon, port, details.settings, error) &&
	       fetch_supervision(daemon, port, details.supervision, error);
}

void add_setting_members(JsonWriter &json,
			 const std::optional<Settings> &settings)
{
	if (!settings) {
		json.null_member("input_active_level");
		json.null_member("output_active_level");
		json.null_member("usage");
		return;
	}
	json.member("input_active_level", settings->levels.input);
	json.member("output_active_level", settings->levels.output);
	json.member("usage", settings->usage);
}

void add_line_members(JsonWriter &json, const Supervision &supervision)
{
	json.begin_object("line");
	if (supervision.readout)
		add_readout_members(json, *supervision.readout);
	else
		json.member("message", supervision.problem);
	json.end_object();
}

void add_supervision_members(JsonWriter &json,
			     const std::optional<Supervision> &supervision)
{
	if (!supervision) {
		json.null_member("supervisable");
		json.null_member("supervised");
		json.null_member("line");
		return;
	}
	json.member("supervisable", supervision->supervisable);
	json.member("supervised", supervision->supervised);
	if (supervision->supervisable)
		add_line_members(json, *supervision);
	else
		json.null_member("line");
}

std::string get_json(const Details &details)
{
	JsonWriter json;

	add_port_members(json, details.port);
	add_name_members(json, details.names);
	add_setting_members(json, details.settings);
	add_supervision_members(json, details.supervision);
	return json.document();
}

void add_field(Table &table, const char *title, Cell value)
{
	table.add_row({Cell(std::string(title) + ":", Style::HEADING),
		       std::move(value)});
}

void add_port_fields(Table &table, const Port &port)
{
	add_field(table, "Name", escape(port.name));
	add_field(table, "Number", std::to_string(port.number));
	add_field(table, "Kind", std::string(kind_text(port)));
	add_field(table, "Direction", std::string(direction_text(port.input)));
	add_field(table, "State", state_cell(port.active));
	add_field(table, "Active level", std::string(level_text(port.open)));
}

void add_name_fields(Table &table, const UserNames &names)
{
	add_field(table, "Input name", escape(names.input));
	add_field(table, "Output name", escape(names.output));
}

void add_setting_fields(Table &table, const Settings &settings)
{
	add_field(table, "Level as input", escape(settings.levels.input));
	add_field(table, "Level as output", escape(settings.levels.output));
	add_field(table, "Usage", escape(settings.usage));
}

std::string supervised_text(const Supervision &supervision)
{
	if (supervision.supervised)
		return "yes";
	return supervision.supervisable ? "no" : "not possible";
}

/// Of a line, where it can be measured, or why it could not be.
void add_supervision_fields(Table &table, const Supervision &supervision)
{
	add_field(table, "Supervised", supervised_text(supervision));
	if (supervision.readout) {
		const Readout &readout = *supervision.readout;
		add_field(table, "Line",
			  Cell(escape(readout.state),
			       line_state_style(readout.state)));
		add_field(table, "Level", std::to_string(readout.level));
	} else if (supervision.supervisable) {
		add_field(table, "Line", escape(supervision.problem));
	}
}

std::string get_text(const Details &details, bool colour)
{
	Table table;

	add_port_fields(table, details.port);
	if (details.names)
		add_name_fields(table, *details.names);
	if (details.settings)
		add_setting_fields(table, *details.settings);
	if (details.supervision)
		add_supervision_fields(table, *details.supervision);
	add_field(table, "Properties", properties_text(details.port));
	return table.text(colour);
}

bool run_get(Context &context, GError **error)
{
	Target target;
	Details details;

	if (!find_target(context, target, error))
		return false;
	details.port = *target.port;
	if (!fetch_details(target.daemon.get(), details, error))
		return false;
	if (context.options.json)
		context.output.line(get_json(details));
	else
		context.output.print(
			get_text(details, context.output.colour()));
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
	"texts for a real port and null for any other; \"supervisable\" and\n"
	"\"supervised\", bools, null for any other port and when the daemon "
	"does\n"
	"not serve supervised inputs; \"line\", null unless supervisable: "
	"{\"state\",\n"
	"\"level\": number}, or {\"message\"} when it could not be "
	"measured.",
	OPTIONS_COMMON,
	1,
	1,
	run_get,
};

} // namespace orvadctl
