#include "command.h"
#include "connector-bus.h"
#include "connector.h"
#include "error.h"

namespace orvadctl
{

namespace
{

bool fetch_states(IOControlState *daemon, ConnectorKind kind,
		  std::vector<bool> &states, GError **error)
{
	ConnectorPtr connector = open_connector(daemon, error);
	GVariant *listed = nullptr;

	if (!connector || !qelconnector_call_get_connector_states_sync(
				  connector.get(), connector_descr(kind),
				  &listed, nullptr, error)) {
		explain_connector_error(error);
		return false;
	}
	util::VariantPtr owned(listed);
	gsize count = 0;
	auto numbers = static_cast<const gint32 *>(
		g_variant_get_fixed_array(listed, &count, sizeof(gint32)));
	states.assign(numbers, numbers + count);
	return true;
}

bool parse_kind(const std::vector<std::string> &arguments, ConnectorKind &kind,
		GError **error)
{
	if (arguments.empty())
		return true;
	auto parsed = parse_connector_kind(arguments.front());
	if (!parsed) {
		set_usage_error(error, "\"%s\" is neither video nor audio",
				arguments.front().c_str());
		return false;
	}
	kind = *parsed;
	return true;
}

bool run_connectors(Context &context, GError **error)
{
	ConnectorKind kind = ConnectorKind::ANY;

	if (!parse_kind(context.options.arguments, kind, error))
		return false;
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	std::vector<Port> ports;
	std::vector<bool> states;
	if (!daemon || !fetch_ports(daemon.get(), ports, error) ||
	    !fetch_states(daemon.get(), kind, states, error))
		return false;
	auto connectors = make_connectors(ports, kind, states);
	if (context.options.json)
		context.output.line(connectors_json(connectors));
	else
		context.output.print(
			connectors_text(connectors, context.output.colour()));
	return true;
}

} // namespace

const Command CONNECTORS_COMMAND = {
	"connectors",
	"[video|audio]",
	"show which connectors are in use",
	"Shows the video and audio connectors, or those of one kind, and "
	"which of\n"
	"them are in use. A connector of both kinds is shown once, as video "
	"unless\n"
	"only audio is asked for. Names and numbers are \"-\" when connectors "
	"came\n"
	"or went just then; so is the kind when it was not asked for.\n"
	"\n"
	"JSON: {\"count\": number, \"in_use\": number, \"connectors\":\n"
	"[{\"kind\": \"video\"|\"audio\", \"number\", \"name\": text or null,\n"
	"\"in_use\": bool}]}; what is \"-\" is null.",
	OPTIONS_COMMON,
	0,
	1,
	run_connectors,
};

} // namespace orvadctl
