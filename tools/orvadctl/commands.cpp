#include "commands.h"

#include "error.h"
#include "table.h"

namespace orvadctl
{

namespace
{

bool run_help(Context &context, GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;

	if (arguments.empty()) {
		context.output.print(general_help());
		return true;
	}
	const Command *command = find_command(arguments.front());
	if (!command) {
		set_usage_error(error, "there is no command \"%s\"",
				arguments.front().c_str());
		return false;
	}
	context.output.print(command_help(*command));
	return true;
}

const Command HELP_COMMAND = {
	"help",
	"[COMMAND]",
	"explain the program or a command",
	"Explains the COMMAND, or the program.",
	OPTIONS_COMMON,
	0,
	1,
	run_help,
};

/// In the order of the help.
const Command *const COMMANDS[] = {
	&LIST_COMMAND,      &COUNT_COMMAND,        &GET_COMMAND,
	&SET_COMMAND,       &STATE_COMMAND,        &PULSE_COMMAND,
	&DIRECTION_COMMAND, &POLARITY_COMMAND,     &NAME_COMMAND,
	&USAGE_COMMAND,     &WATCH_COMMAND,        &RECORD_COMMAND,
	&EVENTS_COMMAND,    &DECLARATIONS_COMMAND, &SETTINGS_COMMAND,
	&SUPERVISE_COMMAND, &RANGES_COMMAND,       &READOUT_COMMAND,
	&TRIGGERS_COMMAND,  &CONNECTORS_COMMAND,   &SNMP_COMMAND,
	&LEGACY_COMMAND,    &DROP_COMMAND,         &REFRESH_COMMAND,
	&HELP_COMMAND,
};

std::string synopsis(const Command &command)
{
	std::string text = command.name;

	return *command.arguments ? text + " " + command.arguments : text;
}

} // namespace

const Command *find_command(const std::string &name)
{
	for (const Command *command : COMMANDS)
		if (name == command->name)
			return command;
	// For shells, not for people: the help does not list it.
	return name == COMPLETE_COMMAND.name ? &COMPLETE_COMMAND : nullptr;
}

std::vector<std::string> command_names()
{
	std::vector<std::string> names;

	for (const Command *command : COMMANDS)
		names.emplace_back(command->name);
	return names;
}

std::string general_help()
{
	Table table;

	for (const Command *command : COMMANDS)
		table.add_row({"  " + synopsis(*command),
			       std::string(command->summary)});
	return "Usage: orvadctl [OPTION...] COMMAND [ARGUMENT...]\n"
	       "\n"
	       "Shows and drives the input and output ports of the device.\n"
	       "\n"
	       "Commands:\n" +
	       table.text(false) + "\nOptions:\n" +
	       options_help(OPTIONS_COMMON) +
	       "\n"
	       "\"orvadctl help COMMAND\" tells more, the form of the JSON "
	       "output too.\n"
	       "Exit status: 0 done, 1 failed, 2 wrong command line.\n";
}

std::string command_help(const Command &command)
{
	return "Usage: orvadctl " + synopsis(command) + " [OPTION...]\n\n" +
	       command.details + "\n\nOptions:\n" +
	       options_help(command.options);
}

} // namespace orvadctl
