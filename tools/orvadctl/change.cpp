#include "change.h"

#include "port-output.h"
#include "text.h"
#include "timestamp.h"

namespace orvadctl
{

Change change_from_port_changed(GVariant *arguments)
{
	gint32 number;
	gboolean is_virtual, hidden, input, simulated, active, open;
	Change change;

	g_variant_get(arguments, PORT_CHANGED_TYPE, &number, &is_virtual,
		      &hidden, &input, &simulated, &active, &open);
	change.number = number;
	change.is_virtual = is_virtual;
	change.hidden = hidden;
	change.input = input;
	change.simulated = simulated;
	change.active = active;
	change.open = open;
	return change;
}

Change change_from_sequence_done(GVariant *arguments)
{
	Change change;

	change.kind = Change::Kind::SEQUENCE_DONE;
	g_variant_get(arguments, SEQUENCE_DONE_TYPE, &change.number);
	return change;
}

std::string change_text(const Change &change, const std::string &name,
			GDateTime *time, const Output &output)
{
	std::string line = output.styled(time_text(time), Style::FAINT) + " " +
			   escape(port_label(change.number, name)) + ": ";

	if (change.kind == Change::Kind::SEQUENCE_DONE)
		return line + "sequence done";
	Cell state = state_cell(change.active);
	line += output.styled(state.text, state.style);
	line += std::string(", ") + direction_text(change.input) +
		", active level " + level_text(change.open);
	if (change.simulated)
		line += ", simulated";
	if (change.is_virtual)
		line += ", virtual port";
	if (change.hidden)
		line += ", hidden port";
	return line;
}

std::string change_json(const Change &change, const std::string &name,
			GDateTime *time)
{
	bool changed = change.kind == Change::Kind::CHANGED;
	JsonWriter json;

	json.member("type", changed ? "changed" : "sequence-done");
	json.member("time", iso_time_text(time));
	add_port_reference(json, change.number, name);
	if (changed) {
		json.member("active", change.active);
		json.member("direction", direction_text(change.input));
		json.member("active_level", level_text(change.open));
		json.member("simulated", change.simulated);
		json.member("virtual", change.is_virtual);
		json.member("hidden", change.hidden);
	}
	return json.line();
}

} // namespace orvadctl
