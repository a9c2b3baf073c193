#include "supervision-list.h"

#include "port-output.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

/// @param ports all ports, for their names.
bool fetch_port(IOSupervisedSupervised *supervised, guint32 number,
		const std::vector<Port> &ports, SupervisionList &list,
		GError **error)
{
	std::optional<bool> on;

	if (!fetch_supervised(supervised, number, on, error))
		return false;
	if (!on)
		return true;
	auto signed_number = static_cast<gint32>(number);
	const Port *port = reached_port(ports, signed_number);
	list.ports.push_back({signed_number, port ? port->name : "", *on});
	return true;
}

bool fetch_all(IOSupervisedSupervised *supervised,
	       const std::vector<Port> &ports, SupervisionList &list,
	       GError **error)
{
	std::vector<guint32> numbers;

	if (!iosupervised_supervised_call_get_number_of_ports_sync(
		    supervised, &list.inputs, &list.outputs, nullptr, error) ||
	    !fetch_supervisable(supervised, numbers, error))
		return false;
	return std::all_of(numbers.begin(), numbers.end(), [&](guint32 number) {
		return fetch_port(supervised, number, ports, list, error);
	});
}

std::string counts_text(const SupervisionList &list)
{
	auto on = std::count_if(
		list.ports.begin(), list.ports.end(),
		[](const SupervisablePort &port) { return port.supervised; });

	return std::to_string(list.ports.size()) + " of " +
	       std::to_string(guint64(list.inputs) + list.outputs) +
	       " ports can be supervised, " + std::to_string(on) +
	       (on == 1 ? " is\n" : " are\n");
}

} // namespace

bool fetch_supervision_list(IOControlState *daemon, SupervisionList &list,
			    GError **error)
{
	std::vector<Port> ports;

	if (!fetch_ports(daemon, ports, error))
		return false;
	SupervisedPtr supervised = open_supervised(daemon, error);
	if (!supervised)
		return false;
	if (fetch_all(supervised.get(), ports, list, error))
		return true;
	explain_supervised_error(error);
	return false;
}

std::string supervision_text(const SupervisionList &list, bool colour)
{
	Table table;

	table.add_row({Cell("NAME", Style::HEADING),
		       Cell("NUMBER", Style::HEADING),
		       Cell("SUPERVISED", Style::HEADING)});
	for (const SupervisablePort &port : list.ports)
		table.add_row({text_or_dash(port.name),
			       number_text(port.number),
			       std::string(port.supervised ? "yes" : "no")});
	return table.text(colour) + counts_text(list);
}

std::string supervision_json(const SupervisionList &list)
{
	JsonWriter json;

	json.begin_array("ports");
	for (const SupervisablePort &port : list.ports) {
		json.begin_object();
		add_port_reference(json, port.number, port.name);
		json.member("supervised", port.supervised);
		json.end_object();
	}
	json.end_array();
	json.member("inputs", list.inputs);
	json.member("outputs", list.outputs);
	return json.document();
}

} // namespace orvadctl
