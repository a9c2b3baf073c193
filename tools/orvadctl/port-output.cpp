#include "port-output.h"

#include "text.h"

namespace orvadctl
{

bool fetch_names(IOControlState *daemon, const Port &port,
		 std::optional<UserNames> &names, GError **error)
{
	char *input = nullptr;
	char *output = nullptr;
	util::Error call_error;

	names.reset();
	if (!port.real())
		return true;
	bool answered = iocontrol_state_call_get_names_sync(
		daemon, static_cast<guint>(port.number), &input, &output,
		nullptr, &call_error);
	util::CharPtr owned_input(input);
	util::CharPtr owned_output(output);
	if (answered) {
		names = UserNames{input, output};
		return true;
	}
	if (says(call_error.get(), NO_PORT_ERROR))
		return true;
	g_propagate_error(error, call_error.release());
	explain_port_error(error, port);
	return false;
}

void add_port_members(JsonWriter &json, const Port &port)
{
	add_port_reference(json, port.number, port.name);
	json.member("kind", kind_text(port));
	json.member("direction", direction_text(port.input));
	json.member("active", port.active);
	json.member("active_level", level_text(port.open));
	json.begin_object("properties");
	for (const auto &[property, value] : port.properties)
		json.member(property.c_str(), value);
	json.end_object();
}

void add_name_members(JsonWriter &json, const std::optional<UserNames> &names)
{
	if (!names) {
		json.null_member("input_name");
		json.null_member("output_name");
		return;
	}
	json.member("input_name", names->input);
	json.member("output_name", names->output);
}

void add_port_reference(JsonWriter &json, gint32 number,
			const std::string &name)
{
	json.member("number", number);
	if (name.empty())
		json.null_member("name");
	else
		json.member("name", name);
}

std::string properties_text(const Port &port)
{
	std::string text;

	for (const auto &[property, value] : port.properties) {
		if (!value)
			continue;
		if (!text.empty())
			text += ' ';
		text += escape(property);
	}
	return text;
}

std::string text_or_dash(const std::string &text)
{
	return text.empty() ? "-" : escape(text);
}

std::string number_text(gint32 number)
{
	return number == NO_NUMBER ? "-" : std::to_string(number);
}

Cell state_cell(bool active)
{
	return {state_text(active), active ? Style::ACTIVE : Style::PLAIN};
}

} // namespace orvadctl
