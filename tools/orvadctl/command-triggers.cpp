#include "command.h"
#include "event-service.h"
#include "trigger.h"

namespace orvadctl
{

namespace
{

/// An event service that is not there leaves it unknown which triggers are
/// enabled; that is no failure.
bool fetch_enabled(const Context &context, IOControlState *daemon,
		   std::vector<Trigger> &triggers, GError **error)
{
	GDBusConnection *connection =
		g_dbus_proxy_get_connection(G_DBUS_PROXY(daemon));
	std::vector<LiveDeclaration> declarations;
	util::Error call_error;

	if (fetch_declarations(connection, context.options.timeout_ms,
			       declarations, &call_error)) {
		set_enabled(triggers, declarations);
		return true;
	}
	if (says_service_gone(call_error.get()) ||
	    says_object_missing(call_error.get()))
		return true;
	g_propagate_error(error, call_error.release());
	explain_call_error(error);
	return false;
}

bool run_triggers(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	std::vector<Port> ports;

	if (!daemon || !fetch_ports(daemon.get(), ports, error))
		return false;
	std::vector<Trigger> triggers = triggers_from_ports(ports);
	if (!triggers.empty() &&
	    !fetch_enabled(context, daemon.get(), triggers, error))
		return false;
	if (context.options.json)
		context.output.line(triggers_json(triggers));
	else
		context.output.print(
			triggers_text(triggers, context.output.colour()));
	return true;
}

} // namespace

const Command TRIGGERS_COMMAND = {
	"triggers",
	"",
	"list the manual triggers",
	"Lists the manual trigger of each video channel that has one in "
	"service.\n"
	"ENABLED tells whether its event is declared with the event service, "
	"and\n"
	"is \"-\" while that is not there. \"set\" and \"pulse\" switch a "
	"trigger.\n"
	"\n"
	"JSON: {\"triggers\": [{\"channel\": number, \"number\": the port's,\n"
	"\"enabled\": bool, null when not known, \"active\": bool}]}.",
	OPTIONS_COMMON,
	0,
	0,
	run_triggers,
};

} // namespace orvadctl
