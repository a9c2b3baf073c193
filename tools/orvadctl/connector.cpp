#include "connector.h"

#include "port-output.h"
#include "text.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

struct KnownKind {
	ConnectorKind kind;
	const char *word;
	const char *property; ///< Of the connectors' ports.
	const char *descr;
};

/// A port with both properties counts as the first.
constexpr KnownKind KNOWN_KINDS[] = {
	{ConnectorKind::VIDEO, "video", "video_connector", "video connector"},
	{ConnectorKind::AUDIO, "audio", "audio_connector", "audio connector"},
};
constexpr const char *ANY_DESCR = "*";

/// Null for ConnectorKind::ANY.
const KnownKind *find_kind(ConnectorKind kind)
{
	for (const KnownKind &known : KNOWN_KINDS)
		if (known.kind == kind)
			return &known;
	return nullptr;
}

/// As which of the kinds that were asked for the port is a connector; nothing
/// when it is none of those.
std::optional<ConnectorKind> kind_of(const Port &port, ConnectorKind asked)
{
	for (const KnownKind &known : KNOWN_KINDS)
		if ((asked == ConnectorKind::ANY || asked == known.kind) &&
		    port.has(known.property))
			return known.kind;
	return std::nullopt;
}

std::size_t count_in_use(const std::vector<Connector> &connectors)
{
	return std::count_if(
		connectors.begin(), connectors.end(),
		[](const Connector &connector) { return connector.in_use; });
}

std::vector<Cell> connector_cells(const Connector &connector)
{
	const KnownKind *known = find_kind(connector.kind);

	return {std::string(known ? known->word : "-"),
		text_or_dash(connector.name),
		number_text(connector.number.value_or(NO_NUMBER)),
		connector.in_use ? Cell("in use", Style::ACTIVE)
				 : Cell("not in use")};
}

std::string count_text(const std::vector<Connector> &connectors)
{
	return std::to_string(connectors.size()) +
	       (connectors.size() == 1 ? " connector, " : " connectors, ") +
	       std::to_string(count_in_use(connectors)) + " in use\n";
}

void add_connector_members(JsonWriter &json, const Connector &connector)
{
	if (const KnownKind *known = find_kind(connector.kind))
		json.member("kind", known->word);
	else
		json.null_member("kind");
	if (connector.number) {
		add_port_reference(json, *connector.number, connector.name);
	} else {
		json.null_member("number");
		json.null_member("name");
	}
	json.member("in_use", connector.in_use);
}

} // namespace

std::optional<ConnectorKind> parse_connector_kind(const std::string &text)
{
	for (const KnownKind &known : KNOWN_KINDS)
		if (text == known.word)
			return known.kind;
	return std::nullopt;
}

const char *connector_descr(ConnectorKind kind)
{
	const KnownKind *known = find_kind(kind);

	return known ? known->descr : ANY_DESCR;
}

std::vector<Connector> make_connectors(const std::vector<Port> &ports,
				       ConnectorKind kind,
				       const std::vector<bool> &states)
{
	std::vector<Connector> connectors;

	for (const Port &port : ports)
		if (auto found = kind_of(port, kind))
			connectors.push_back(
				{*found, port.name, port.number, false});
	if (connectors.size() != states.size())
		connectors.assign(states.size(),
				  {kind, "", std::nullopt, false});
	for (std::size_t i = 0; i < states.size(); ++i)
		connectors[i].in_use = states[i];
	return connectors;
}

std::string connectors_text(const std::vector<Connector> &connectors,
			    bool colour)
{
	Table table;

	table.add_row({Cell("KIND", Style::HEADING),
		       Cell("NAME", Style::HEADING),
		       Cell("NUMBER", Style::HEADING),
		       Cell("STATE", Style::HEADING)});
	for (const Connector &connector : connectors)
		table.add_row(connector_cells(connector));
	return table.text(colour) + count_text(connectors);
}

std::string connectors_json(const std::vector<Connector> &connectors)
{
	JsonWriter json;

	json.member("count", connectors.size());
	json.member("in_use", count_in_use(connectors));
	json.begin_array("connectors");
	for (const Connector &connector : connectors) {
		json.begin_object();
		add_connector_members(json, connector);
		json.end_object();
	}
	json.end_array();
	return json.document();
}

} // namespace orvadctl
