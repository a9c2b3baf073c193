#include "command.h"
#include "port-output.h"

namespace orvadctl
{

namespace
{

using NamesList = std::vector<std::optional<UserNames>>;

bool fetch_all_names(IOControlState *daemon, const std::vector<Port> &ports,
		     NamesList &names, GError **error)
{
	for (const Port &port : ports) {
		names.emplace_back();
		if (!fetch_names(daemon, port, names.back(), error))
			return false;
	}
	return true;
}

std::vector<Cell> heading(bool with_names)
{
	std::vector<Cell> row;

	for (const char *title :
	     {"NAME", "NUMBER", "KIND", "DIRECTION", "STATE", "ACTIVE-LEVEL"})
		row.emplace_back(title, Style::HEADING);
	if (with_names) {
		row.emplace_back("INPUT-NAME", Style::HEADING);
		row.emplace_back("OUTPUT-NAME", Style::HEADING);
	}
	row.emplace_back("PROPERTIES", Style::HEADING);
	return row;
}

std::vector<Cell> port_cells(const Port &port)
{
	return {text_or_dash(port.name),
		number_text(port.number),
		std::string(kind_text(port)),
		std::string(direction_text(port.input)),
		state_cell(port.active),
		std::string(level_text(port.open))};
}

std::string list_text(const std::vector<Port> &ports, const NamesList &names,
		      bool colour)
{
	Table table;

	table.add_row(heading(!names.empty()));
	for (std::size_t i = 0; i < ports.size(); ++i) {
		std::vector<Cell> row = port_cells(ports[i]);
		if (!names.empty()) {
			UserNames given = names[i].value_or(UserNames{});
			row.emplace_back(text_or_dash(given.input));
			row.emplace_back(text_or_dash(given.output));
		}
		row.emplace_back(properties_text(ports[i]));
		table.add_row(std::move(row));
	}
	return table.text(colour);
}

std::string list_json(const std::vector<Port> &ports, const NamesList &names)
{
	JsonWriter json;

	json.begin_array("ports");
	for (std::size_t i = 0; i < ports.size(); ++i) {
		json.begin_object();
		add_port_members(json, ports[i]);
		if (!names.empty())
			add_name_members(json, names[i]);
		json.end_object();
	}
	json.end_array();
	return json.document();
}

bool run_list(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	std::vector<Port> ports;
	NamesList names;

	if (!daemon || !fetch_ports(daemon.get(), ports, error))
		return false;
	if (context.options.names &&
	    !fetch_all_names(daemon.get(), ports, names, error))
		return false;
	if (context.options.json)
		context.output.line(list_json(ports, names));
	else
		context.output.print(
			list_text(ports, names, context.output.colour()));
	return true;
}

} // namespace

const Command LIST_COMMAND = {
	"list",
	"",
	"list all ports",
	"Lists every port in service. KIND is input, output, configurable "
	"(can\n"
	"be switched between both) or virtual (has no hardware).\n"
	"\n"
	"JSON: {\"ports\": [{\"number\": any 32-bit number, -1 for none,\n"
	"\"name\": text or null, \"kind\", \"direction\": "
	"\"input\"|\"output\",\n"
	"\"active\": bool, \"active_level\": \"open\"|\"closed\",\n"
	"\"properties\": {name: bool}}]}; with --names also \"input_name\" "
	"and\n"
	"\"output_name\", null for a port that has none.",
	OPTION_NAMES,
	0,
	0,
	run_list,
};

} // namespace orvadctl
