/// simboard: a simulated board, and the commands to work on it.

#include "commands.h"
#include "error.h"
#include "launcher.h"
#include "protocol.h"
#include "serve.h"
#include "show.h"
#include "util/glib-ptr.h"

#include <unistd.h>

#include <cstdio>

using namespace simboard;

namespace
{

enum ExitStatus { EXIT_DONE = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

/// What GLib's parser fills in.
struct Options {
	gboolean help = FALSE;
	gboolean once = FALSE;
	gboolean follow = FALSE;
	util::CharPtr socket;
	Words words; ///< Everything else, the command first.
};

struct Command {
	const char *name;
	const char *arguments;
	const char *summary;
	std::size_t least_arguments;
	std::size_t most_arguments;
	bool (*run)(const Options &options, GError **error);
};

std::string socket_path(const Options &options)
{
	const char *const places[] = {options.socket.get(),
				      g_getenv(SOCKET_VARIABLE)};

	for (const char *path : places)
		if (path && *path)
			return path;
	return USUAL_SOCKET;
}

bool run_serve(const Options &options, GError **error)
{
	return serve(options.words[1], options.words[2], socket_path(options),
		     error);
}

/// "--" ends our own options, so that the program's are left alone.
bool run_run(const Options &options, GError **error)
{
	Words command(options.words.begin() + 1, options.words.end());

	if (command[0] == "--")
		command.erase(command.begin());
	if (!command.empty())
		return launch(command, error);
	set_usage_error(error, "name a program: simboard run -- PROGRAM");
	return false;
}

bool run_show(const Options &options, GError **error)
{
	return show_board(socket_path(options),
			  !options.once && isatty(STDOUT_FILENO), error);
}

bool run_history(const Options &options, GError **error)
{
	Words words = options.words;

	if (options.follow)
		words[0] = "follow";
	return print_answer(socket_path(options), words, error);
}

bool run_remote(const Options &options, GError **error)
{
	return print_answer(socket_path(options), options.words, error);
}

/// Those that are more than a command to a served board.
constexpr Command OWN_COMMANDS[] = {
	{"serve", "BOARD MOUNTPOINT",
	 "show the board of that file, until it is interrupted", 2, 2,
	 run_serve},
	{"run", "-- PROGRAM [ARGUMENT...]",
	 "run a program that can have event descriptors of IIO devices", 1,
	 G_MAXSIZE, run_run},
	{"show", "[--once]", "draw the board, again after each change", 0, 0,
	 run_show},
	{"history", "[--follow] [SINCE]",
	 "all changes after the one of that number", 0, 1, run_history},
};

std::vector<Command> all_commands()
{
	std::vector<Command> commands(std::begin(OWN_COMMANDS),
				      std::end(OWN_COMMANDS));

	for (const BoardCommand &remote : board_commands()) {
		std::string_view name = remote.name;
		// The command line has them as options of "history".
		if (name != "history" && name != "follow")
			commands.push_back({remote.name, remote.arguments,
					    remote.summary,
					    remote.least_arguments,
					    remote.most_arguments, run_remote});
	}
	return commands;
}

void print_help()
{
	printf("Usage: simboard [--socket PATH] COMMAND [ARGUMENT...]\n\n"
	       "Shows programs the kernel's side of a board that is not there,"
	       " and works on it.\n\nCommands:\n");
	for (const Command &command : all_commands())
		printf("  %s %s\n      %s\n", command.name, command.arguments,
		       command.summary);
	printf("\nThe socket of the board is --socket PATH, else %s, else"
	       "\n%s.\n"
	       "Exit status: 0 done, 1 failed, 2 wrong command line or board"
	       " file.\n",
	       SOCKET_VARIABLE, USUAL_SOCKET);
}

int report(const GError *error)
{
	fprintf(stderr, "simboard: %s\n", error->message);
	return is_usage_error(error) ? EXIT_USAGE : EXIT_FAILED;
}

bool parse(int argc, char **argv, Options &options, GError **error)
{
	char *socket = nullptr;
	const GOptionEntry entries[] = {
		{"help", 'h', 0, G_OPTION_ARG_NONE, &options.help, nullptr,
		 nullptr},
		{"once", 0, 0, G_OPTION_ARG_NONE, &options.once, nullptr,
		 nullptr},
		{"follow", 'f', 0, G_OPTION_ARG_NONE, &options.follow, nullptr,
		 nullptr},
		{"socket", 's', 0, G_OPTION_ARG_FILENAME, &socket, nullptr,
		 nullptr},
		{},
	};
	util::Handle<GOptionContext, g_option_context_free> context(
		g_option_context_new(nullptr));
	util::Error reason;

	g_option_context_set_help_enabled(context.get(), FALSE);
	g_option_context_add_main_entries(context.get(), entries, nullptr);
	bool parsed =
		g_option_context_parse(context.get(), &argc, &argv, &reason);
	options.socket.reset(socket);
	options.words.assign(argv + MIN(argc, 1), argv + argc);
	if (!parsed)
		set_usage_error(error, "%s", reason.message());
	return parsed;
}

bool run(const Options &options, GError **error)
{
	std::size_t count = options.words.size() - 1;

	for (const Command &command : all_commands()) {
		if (options.words[0] != command.name)
			continue;
		if (count >= command.least_arguments &&
		    count <= command.most_arguments)
			return command.run(options, error);
		set_usage_error(error, "usage: simboard %s %s", command.name,
				command.arguments);
		return false;
	}
	set_usage_error(error,
			"there is no command \"%s\"; see simboard --help",
			options.words[0].c_str());
	return false;
}

} // namespace

int main(int argc, char **argv)
{
	Options options;
	util::Error error;

	if (!parse(argc, argv, options, &error))
		return report(error.get());
	if (options.help || options.words.empty()) {
		print_help();
		return options.help ? EXIT_DONE : EXIT_USAGE;
	}
	return run(options, &error) ? EXIT_DONE : report(error.get());
}
