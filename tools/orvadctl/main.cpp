/// orvadctl: the command-line client of the port daemon.

#include "commands.h"
#include "error.h"
#include "report.h"

#include <cerrno>
#include <csignal>
#include <cstring>

using namespace orvadctl;

namespace
{

enum ExitStatus { EXIT_DONE = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

int report(const GError *error, const Command *command)
{
	if (!is_usage_error(error)) {
		report_line(error->message);
		return EXIT_FAILED;
	}
	std::string message = error->message;
	message += "; see \"orvadctl help";
	if (command && command != find_command("help"))
		message += std::string(" ") + command->name;
	report_line(message + "\"");
	return EXIT_USAGE;
}

bool check_count(const Command &command, std::size_t count, GError **error)
{
	if (count >= command.least_arguments && count <= command.most_arguments)
		return true;
	set_usage_error(error, "%s: %s argument", command.name,
			count < command.least_arguments ? "missing"
							: "unexpected");
	return false;
}

/// Takes the command's own words. False with error set when they are wrong.
bool parse_command(const Command &command, Options &options, GError **error)
{
	std::vector<std::string> words(options.arguments.begin() + 1,
				       options.arguments.end());

	if (!parse_command_options(words, command.options, options, error))
		return false;
	return options.help || options.version ||
	       check_count(command, options.arguments.size(), error);
}

/// Runs the command, or prints what --help or --version ask for.
bool perform(const Command &command, const Options &options, Output &output,
	     GError **error)
{
	Context context{options, output};

	if (options.version)
		output.line("orvadctl " ORVADCTL_VERSION);
	else if (options.help)
		output.print(command_help(command));
	else
		return command.run(context, error);
	return true;
}

/// A reader who has seen enough is no failure.
int exit_status(const Output &output)
{
	if (output.error() == 0 || output.error() == EPIPE)
		return EXIT_DONE;
	report_line(std::string("cannot write: ") + strerror(output.error()));
	return EXIT_FAILED;
}

int run_without_command(const Options &options, Output &output)
{
	if (options.version) {
		output.line("orvadctl " ORVADCTL_VERSION);
	} else if (options.help) {
		output.print(general_help());
	} else {
		util::Error missing;
		set_usage_error(&missing, "missing command");
		return report(missing.get(), nullptr);
	}
	return exit_status(output);
}

int run_command_line(const std::vector<std::string> &words, Output &output)
{
	Options options;
	util::Error error;

	if (!parse_leading_options(words, options, &error))
		return report(error.get(), nullptr);
	if (options.arguments.empty())
		return run_without_command(options, output);

	const std::string name = options.arguments.front();
	const Command *command = find_command(name);
	if (!command) {
		util::Error unknown;
		set_usage_error(&unknown, "there is no command \"%s\"",
				name.c_str());
		return report(unknown.get(), nullptr);
	}
	if (!parse_command(*command, options, &error) ||
	    !perform(*command, options, output, &error))
		return report(error.get(), command);
	return exit_status(output);
}

} // namespace

int main(int argc, char **argv)
{
	// A reader that has gone shows when writing fails.
	signal(SIGPIPE, SIG_IGN);
	Output output(stdout, wants_colour(stdout));

	return run_command_line(
		std::vector<std::string>(argv + MIN(argc, 1), argv + argc),
		output);
}
