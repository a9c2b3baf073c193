#include "arguments.h"
#include "command.h"
#include "connector-bus.h"
#include "error.h"

namespace orvadctl
{

namespace
{

bool parse_number_argument(const std::string &text, gint32 &number,
			   GError **error)
{
	auto parsed = parse_integer(text);

	if (!parsed) {
		set_usage_error(error, "\"%s\" is no number of 32 bits",
				text.c_str());
		return false;
	}
	number = *parsed;
	return true;
}

bool run_snmp(Context &context, GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;
	gint32 connector = 0;
	gint32 state = 0;

	if (!parse_number_argument(arguments[0], connector, error) ||
	    !parse_number_argument(arguments[1], state, error))
		return false;
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	if (!daemon)
		return false;
	ConnectorPtr interface = open_connector(daemon.get(), error);
	if (interface &&
	    qelconnector_call_emit_snmpevent_sync(interface.get(), connector,
						  state, nullptr, error))
		return true;
	// A daemon that does not know the method is not one that is starting:
	// what it says is the answer.
	if (error && *error && says_object_missing(*error))
		g_dbus_error_strip_remote_error(*error);
	else
		explain_call_error(error);
	return false;
}

} // namespace

const Command SNMP_COMMAND = {
	"snmp",
	"CONNECTOR VALUE",
	"report a connector's state by SNMP",
	"Asks the daemon to report the state VALUE of the CONNECTOR, both "
	"numbers, by\n"
	"SNMP. The daemon has the method, but does not implement it: it "
	"refuses, and\n"
	"its answer is shown.\n"
	"\n"
	"Nothing is printed, with --json neither.",
	OPTIONS_COMMON,
	2,
	2,
	run_snmp,
};

} // namespace orvadctl
