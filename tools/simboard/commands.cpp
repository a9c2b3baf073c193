#include "commands.h"

#include "command-groups.h"
#include "lookups.h"
#include "state.h"

namespace simboard
{

namespace
{

/// Whether there is a part of that name.
bool is_part(Bench &bench, const std::string &text)
{
	return bench.board.find_line(text) || bench.loops.find(text) ||
	       bench.converters.find(text) || bench.iio.find(text);
}

/// The rows of the devices, or of that one, and of the triggers.
void write_iio_state(Iio &iio, const std::string &only, const Reply &reply)
{
	for (auto &[name, device] : iio.all()) {
		if (!only.empty() && only != name)
			continue;
		reply.line(iio_row(device));
		for (auto &[number, channel] : device.channels)
			reply.line(channel_row(channel));
	}
	for (auto &[name, trigger] : iio.triggers().all())
		if (only.empty())
			reply.line(trigger_row(*trigger));
}

void run_state(Bench &bench, const Words &words, const Reply &reply)
{
	const std::string only = words.empty() ? "" : words[0];
	const Line *one = bench.board.find_line(only);

	if (!words.empty() && !is_part(bench, only))
		return reply.fail("there is no line, loop or converter %s",
				  printable(only).c_str());
	reply.line(board_row(bench.board.description().name));
	for (auto &[number, line] : bench.board.lines())
		if (words.empty() ? is_of_interest(line) : one == &line)
			reply.line(line_row(line));
	for (auto &[name, converter] : bench.converters.all())
		if (words.empty() || only == name)
			reply.line(converter_row(converter));
	for (auto &[name, loop] : bench.loops.all())
		if (words.empty() || only == name)
			reply.line(loop_row(loop));
	write_iio_state(bench.iio, only, reply);
	reply.done();
}

/// Writes the changes since the one in words; false with the reply ended when
/// that is no number.
bool write_history(Bench &bench, const Words &words, const Reply &reply)
{
	guint64 since = 0;

	if (!words.empty() &&
	    !g_ascii_string_to_unsigned(words[0].c_str(), 10, 0, G_MAXUINT64,
					&since, nullptr)) {
		reply.fail("%s is not the number of a change",
			   printable(words[0]).c_str());
		return false;
	}
	bench.board.history().visit_since(since, [&](const Change &change) {
		reply.line(change_text(change));
	});
	return true;
}

void run_history(Bench &bench, const Words &words, const Reply &reply)
{
	if (write_history(bench, words, reply))
		reply.done();
}

void run_follow(Bench &bench, const Words &words, const Reply &reply)
{
	if (write_history(bench, words, reply))
		bench.follow(reply);
}

constexpr BoardCommand GENERAL_COMMANDS[] = {
	{"state", "[LINE|LOOP|CONVERTER|IIO]",
	 "the board as fields with tabs between, for scripts", 0, 1, run_state},
	{"history", "[SINCE]", "all changes after the one of that number", 0, 1,
	 run_history},
	{"follow", "[SINCE]", "the same, and every new one as it happens", 0, 1,
	 run_follow},
};

std::span<const BoardCommand> own_commands()
{
	return GENERAL_COMMANDS;
}

} // namespace

const std::vector<BoardCommand> &board_commands()
{
	static const std::vector<BoardCommand> ALL = [] {
		std::vector<BoardCommand> all;
		for (auto group :
		     {line_commands(), loop_commands(), channel_commands(),
		      part_commands(), own_commands()})
			all.insert(all.end(), group.begin(), group.end());
		return all;
	}();

	return ALL;
}

const BoardCommand *find_board_command(const std::string &name)
{
	for (const BoardCommand &command : board_commands())
		if (name == command.name)
			return &command;
	return nullptr;
}

void run_board_command(Bench &bench, const Words &words, const Reply &reply)
{
	const BoardCommand *command =
		words.empty() ? nullptr : find_board_command(words[0]);

	if (!command) {
		reply.fail("there is no command \"%s\"",
			   words.empty() ? "" : printable(words[0]).c_str());
		return;
	}
	Words arguments(words.begin() + 1, words.end());
	if (arguments.size() < command->least_arguments ||
	    arguments.size() > command->most_arguments)
		reply.fail("usage: %s %s", command->name, command->arguments);
	else
		command->run(bench, arguments, reply);
}

} // namespace simboard
