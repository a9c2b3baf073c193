#include "arguments.h"
#include "command.h"
#include "error.h"
#include "port-output.h"
#include "text.h"

namespace orvadctl
{

namespace
{

struct Direction {
	std::string word;
	bool configurable = false;
};

bool ask(const Target &target, Direction &direction, GError **error)
{
	auto number = static_cast<guint>(target.port->number);
	gboolean configurable = FALSE;
	char *word = nullptr;

	if (!iocontrol_state_call_get_direction_sync(
		    target.daemon.get(), number, &word, nullptr, error))
		return false;
	util::CharPtr owned(word);
	direction.word = word;
	if (!iocontrol_state_call_is_configurable_sync(
		    target.daemon.get(), number, &configurable, nullptr, error))
		return false;
	direction.configurable = configurable;
	return true;
}

/// @param word what it is to work as; null: leave it alone.
bool change_direction(const Target &target, const char *word, GError **error)
{
	return !word || iocontrol_state_call_set_direction_sync(
				target.daemon.get(),
				static_cast<guint>(target.port->number), word,
				nullptr, error);
}

void show_direction(Context &context, const Port &port,
		    const Direction &direction)
{
	if (context.options.json) {
		JsonWriter json;
		add_port_reference(json, port.number, port.name);
		json.member("direction", direction.word);
		json.member("configurable", direction.configurable);
		context.output.line(json.document());
		return;
	}
	context.output.line(escape(port_label(port.number, port.name)) + ": " +
			    escape(direction.word) +
			    (direction.configurable ? ", configurable" : ""));
}

bool run_direction(Context &context, GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;
	const char *word =
		arguments.size() > 1 ? arguments[1].c_str() : nullptr;
	Target target;
	Direction direction;

	if (word && !parse_direction(word)) {
		set_usage_error(error, "\"%s\" is neither input nor output",
				word);
		return false;
	}
	if (!find_reachable_target(context, target, error))
		return false;
	if (!change_direction(target, word, error) ||
	    !ask(target, direction, error)) {
		explain_port_error(error, *target.port);
		return false;
	}
	show_direction(context, *target.port, direction);
	return true;
}

} // namespace

const Command DIRECTION_COMMAND = {
	"direction",
	"PORT [input|output]",
	"show or set what a port works as",
	"Shows whether the PORT (a number or a configuration name) works as "
	"input or\n"
	"output, and whether that can be changed, or changes it. A running "
	"sequence\n"
	"ends then, and an output starts inactive.\n"
	"\n"
	"JSON: {\"number\", \"name\": text or null,\n"
	"\"direction\": \"input\"|\"output\", \"configurable\": bool}.",
	OPTIONS_COMMON,
	1,
	2,
	run_direction,
};

} // namespace orvadctl
