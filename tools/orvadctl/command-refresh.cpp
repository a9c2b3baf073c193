#include "command.h"
#include "port-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

/// Has the daemon bring back what it can. @param added which ports came.
bool refresh(IOControlState *daemon, std::vector<Port> &added, GError **error)
{
	std::vector<Port> before;
	std::vector<Port> after;

	if (!fetch_ports(daemon, before, error))
		return false;
	if (!iocontrol_state_call_refresh_ioports_sync(daemon, nullptr,
						       error)) {
		explain_call_error(error);
		return false;
	}
	if (!fetch_ports(daemon, after, error))
		return false;
	added = added_ports(before, after);
	return true;
}

std::string added_json(const std::vector<Port> &added)
{
	JsonWriter json;

	json.begin_array("ports");
	for (const Port &port : added) {
		json.begin_object();
		add_port_members(json, port);
		json.end_object();
	}
	json.end_array();
	return json.document();
}

void show(Context &context, const std::vector<Port> &added)
{
	if (context.options.json) {
		context.output.line(added_json(added));
		return;
	}
	for (const Port &port : added)
		context.output.line(escape(port_label(port.number, port.name)) +
				    ": came into service");
	if (added.empty())
		context.output.line("no port came into service");
}

bool run_refresh(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	std::vector<Port> added;

	if (!daemon || !refresh(daemon.get(), added, error))
		return false;
	show(context, added);
	return true;
}

} // namespace

const Command REFRESH_COMMAND = {
	"refresh",
	"",
	"bring optional ports into service",
	"Has the daemon set up every optional port that is out of service, "
	"because\n"
	"its hardware was missing or because it was dropped, and shows which "
	"came\n"
	"into service.\n"
	"\n"
	"JSON: {\"ports\": [...]}, those that came, each as in \"list\".",
	OPTIONS_COMMON,
	0,
	0,
	run_refresh,
};

} // namespace orvadctl
