#include "command.h"
#include "error.h"
#include "event-service.h"
#include "table.h"
#include "text.h"

namespace orvadctl
{

namespace
{

/// A declaration, its keys with the values that they have now.
using Current = std::vector<LiveDeclaration>;

void explain_error(GError **error)
{
	if (!says_not_served(*error)) {
		explain_call_error(error);
		return;
	}
	g_clear_error(error);
	set_failure(error, "the event service is not there; start the port "
			   "daemon with \"systemctl start orvad\"");
}

bool fetch_current(GDBusConnection *connection, gint timeout_ms,
		   Current &current, GError **error)
{
	Current live;

	if (!fetch_declarations(connection, timeout_ms, live, error))
		return false;
	for (LiveDeclaration &declaration : live) {
		std::optional<Values> values;
		if (!fetch_values(connection, timeout_ms, declaration, values,
				  error))
			return false;
		if (!values)
			continue;
		declaration.declaration.keys = std::move(*values);
		current.push_back(std::move(declaration));
	}
	return true;
}

std::string topic_of(const LiveDeclaration &live)
{
	return topic_text(live.declaration.keys, &live.declaration);
}

std::string declarations_json(const Current &current)
{
	JsonWriter json;

	json.begin_array("declarations");
	for (const LiveDeclaration &live : current) {
		json.begin_object();
		json.member("producer", live.producer);
		json.member("id", live.id);
		json.member("topic", topic_of(live));
		add_declaration(json, live.declaration);
		json.end_object();
	}
	json.end_array();
	return json.document();
}

std::string declarations_text(const Current &current, bool colour)
{
	Table table;

	table.add_row({Cell("PRODUCER", Style::HEADING),
		       Cell("ID", Style::HEADING),
		       Cell("TOPIC", Style::HEADING),
		       Cell("VALUES", Style::HEADING)});
	for (const LiveDeclaration &live : current) {
		std::string topic = topic_of(live);
		table.add_row({escape(live.producer), std::to_string(live.id),
			       topic.empty() ? "-" : escape(topic),
			       values_text(live.declaration.keys)});
	}
	return table.text(colour);
}

bool run_declarations(Context &context, GError **error)
{
	ConnectionPtr connection = open_bus(error);
	util::Error call_error;
	Current current;

	if (!connection)
		return false;
	if (!fetch_current(connection.get(), context.options.timeout_ms,
			   current, &call_error)) {
		g_propagate_error(error, call_error.release());
		explain_error(error);
		return false;
	}
	if (context.options.json)
		context.output.line(declarations_json(current));
	else
		context.output.print(
			declarations_text(current, context.output.colour()));
	return true;
}

} // namespace

const Command DECLARATIONS_COMMAND = {
	"declarations",
	"",
	"list the platform events and their states",
	"Lists the live declarations of every producer of events, with the "
	"values that\n"
	"their keys have now; a state is one of them. \"events\" shows what "
	"changes.\n"
	"\n"
	"JSON: {\"declarations\": [{\"producer\", \"id\": number, \"topic\" "
	"(with name\n"
	"spaces), \"event_type\", \"property\", \"keys\", \"nice_names\", "
	"\"namespaces\",\n"
	"\"tags\"}]}, the latter as in \"events\".",
	OPTIONS_COMMON,
	0,
	0,
	run_declarations,
};

} // namespace orvadctl
