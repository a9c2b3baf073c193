#include "command.h"
#include "connector-bus.h"
#include "connector.h"
#include "json-writer.h"
#include "table.h"

namespace orvadctl
{

namespace
{

struct Counts {
	guint inputs = 0;
	guint outputs = 0;
	/// Nothing when the daemon does not serve connectors.
	std::optional<gint32> video;
	std::optional<gint32> audio;
};

bool count_kind(QELConnector *connector, ConnectorKind kind,
		std::optional<gint32> &count, GError **error)
{
	gint answer = 0;

	if (!qelconnector_call_get_num_connectors_sync(
		    connector, connector_descr(kind), &answer, nullptr, error))
		return false;
	count = answer;
	return true;
}

bool count_connectors(IOControlState *daemon, Counts &counts, GError **error)
{
	util::Error call_error;
	ConnectorPtr connector = open_connector(daemon, &call_error);

	if (connector &&
	    count_kind(connector.get(), ConnectorKind::VIDEO, counts.video,
		       &call_error) &&
	    count_kind(connector.get(), ConnectorKind::AUDIO, counts.audio,
		       &call_error))
		return true;
	if (says_not_served(call_error.get()))
		return true;
	g_propagate_error(error, call_error.release());
	explain_connector_error(error);
	return false;
}

bool count_all(IOControlState *daemon, Counts &counts, GError **error)
{
	if (!iocontrol_state_call_get_nbr_ports_sync(
		    daemon, &counts.inputs, &counts.outputs, nullptr, error)) {
		explain_call_error(error);
		return false;
	}
	return count_connectors(daemon, counts, error);
}

void add_count(JsonWriter &json, const char *key,
	       const std::optional<gint32> &count)
{
	if (count)
		json.member(key, *count);
	else
		json.null_member(key);
}

std::string counts_json(const Counts &counts)
{
	JsonWriter json;

	json.member("inputs", counts.inputs);
	json.member("outputs", counts.outputs);
	add_count(json, "video_connectors", counts.video);
	add_count(json, "audio_connectors", counts.audio);
	return json.document();
}

void add_row(Table &table, const char *title, std::string value)
{
	table.add_row({Cell(std::string(title) + ":", Style::HEADING),
		       std::move(value)});
}

std::string count_text(const std::optional<gint32> &count)
{
	return count ? std::to_string(*count) : "-";
}

std::string counts_text(const Counts &counts, bool colour)
{
	Table table;

	add_row(table, "Inputs", std::to_string(counts.inputs));
	add_row(table, "Outputs", std::to_string(counts.outputs));
	add_row(table, "Video connectors", count_text(counts.video));
	add_row(table, "Audio connectors", count_text(counts.audio));
	return table.text(colour);
}

bool run_count(Context &context, GError **error)
{
	StatePtr daemon = open_daemon(context.options.timeout_ms, error);
	Counts counts;

	if (!daemon || !count_all(daemon.get(), counts, error))
		return false;
	if (context.options.json)
		context.output.line(counts_json(counts));
	else
		context.output.print(
			counts_text(counts, context.output.colour()));
	return true;
}

} // namespace

const Command COUNT_COMMAND = {
	"count",
	"",
	"count the ports and connectors",
	"Counts the real I/O ports that work as inputs and as outputs now, and "
	"the\n"
	"video and the audio connectors. A connector of both kinds counts as "
	"both.\n"
	"\n"
	"JSON: {\"inputs\": number, \"outputs\": number,\n"
	"\"video_connectors\": number, \"audio_connectors\": number}; the last "
	"two are\n"
	"null when the daemon does not serve connectors.",
	OPTIONS_COMMON,
	0,
	0,
	run_count,
};

} // namespace orvadctl
