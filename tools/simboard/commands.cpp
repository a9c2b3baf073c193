#include "commands.h"

#include "error.h"
#include "state.h"
#include "util/glib-ptr.h"

namespace simboard
{

namespace
{

constexpr unsigned USUAL_PRESS_MS = 200;
constexpr unsigned LONGEST_PRESS_MS = 3600000;
constexpr unsigned LONGEST_BURST = 1000000;

/// Text from a client, made safe to print.
std::string printable(const std::string &text)
{
	util::CharPtr escaped(g_strescape(text.c_str(), nullptr));

	return escaped.get();
}

/// Null, with the reply ended, when there is no such line.
Line *find_line(Bench &bench, const std::string &text, const Reply &reply)
{
	Line *line = bench.board.find_line(text);

	if (!line)
		reply.fail("there is no line %s", printable(text).c_str());
	return line;
}

/// The same for one that can be moved from outside.
Line *find_loose_line(Bench &bench, const std::string &text, const Reply &reply)
{
	Line *line = find_line(bench, text, reply);

	if (!line || !line->follows)
		return line;
	reply.fail("%s follows %s", line->title().c_str(),
		   line->follows->title().c_str());
	return nullptr;
}

Line *find_wired_line(Bench &bench, const std::string &text, Wiring wiring,
		      const Reply &reply)
{
	Line *line = find_line(bench, text, reply);

	if (!line || line->wiring == wiring)
		return line;
	reply.fail("%s is no %s", line->title().c_str(), word(wiring));
	return nullptr;
}

/// False, with the reply ended, when text is no number in that range.
bool parse_count(const std::string &text, unsigned least, unsigned most,
		 unsigned &count, const Reply &reply)
{
	guint64 number = 0;

	if (!g_ascii_string_to_unsigned(text.c_str(), 10, least, most, &number,
					nullptr)) {
		reply.fail("%s is not a number from %u to %u",
			   printable(text).c_str(), least, most);
		return false;
	}
	count = static_cast<unsigned>(number);
	return true;
}

void run_press(Bench &bench, const Words &words, const Reply &reply)
{
	Line *line = find_wired_line(bench, words[0], Wiring::BUTTON, reply);
	unsigned milliseconds = USUAL_PRESS_MS;

	if (!line ||
	    (words.size() > 1 &&
	     !parse_count(words[1], 0, LONGEST_PRESS_MS, milliseconds, reply)))
		return;
	if (line->outside != line->idle)
		reply.fail("%s is held down", line->title().c_str());
	else
		bench.hand.press(*line, milliseconds,
				 [reply] { reply.done(); });
}

/// Moves what is wired to a line away from its idle state, or back.
void move(Bench &bench, const std::string &text, Wiring wiring, bool away,
	  const Reply &reply)
{
	Line *line = find_wired_line(bench, text, wiring, reply);

	if (!line)
		return;
	bench.board.drive(*line, away ? opposite(line->idle) : line->idle);
	reply.done();
}

void run_hold(Bench &bench, const Words &words, const Reply &reply)
{
	move(bench, words[0], Wiring::BUTTON, true, reply);
}

void run_release(Bench &bench, const Words &words, const Reply &reply)
{
	move(bench, words[0], Wiring::BUTTON, false, reply);
}

void run_open(Bench &bench, const Words &words, const Reply &reply)
{
	move(bench, words[0], Wiring::DOOR_CONTACT, true, reply);
}

void run_close(Bench &bench, const Words &words, const Reply &reply)
{
	move(bench, words[0], Wiring::DOOR_CONTACT, false, reply);
}

void run_line(Bench &bench, const Words &words, const Reply &reply)
{
	Line *line = find_loose_line(bench, words[0], reply);
	auto level = level_from_word(words[1]);

	if (!line)
		return;
	if (words[1] == "toggle")
		level = opposite(line->outside);
	if (!level) {
		reply.fail("%s is not high, low or toggle",
			   printable(words[1]).c_str());
		return;
	}
	bench.board.drive(*line, *level);
	reply.line(word(line->level));
	reply.done();
}

void run_burst(Bench &bench, const Words &words, const Reply &reply)
{
	Line *line = find_loose_line(bench, words[0], reply);
	unsigned count = 0;

	if (!line || !parse_count(words[1], 1, LONGEST_BURST, count, reply))
		return;
	bench.hand.burst(*line, count, [line, reply] {
		reply.line(word(line->level));
		reply.done();
	});
}

void run_fail(Bench &bench, const Words &words, const Reply &reply)
{
	Line *line = find_line(bench, words[0], reply);
	int number = errno_from_text(words[1].c_str());

	if (!line)
		return;
	if (number == 0 && words[1] != "none") {
		reply.fail("%s is no error", printable(words[1]).c_str());
		return;
	}
	auto only =
		words.size() > 2 ? access_from_word(words[2]) : std::nullopt;
	if (words.size() > 2 && !only) {
		reply.fail("%s is not %s", printable(words[2]).c_str(),
			   access_words().c_str());
		return;
	}
	for (Access access : {Access::READ, Access::WRITE, Access::EXPORT})
		if (!only || *only == access)
			bench.board.set_fault(*line, access, number);
	reply.done();
}

void set_plugged(Bench &bench, const std::string &text, bool plugged,
		 const Reply &reply)
{
	Chip *chip = bench.board.find_chip(text);
	Line *line = chip ? nullptr : bench.board.find_line(text);

	if (chip)
		bench.board.set_plugged(*chip, plugged);
	else if (line)
		bench.board.set_plugged(*line, plugged);
	else
		return reply.fail("there is no chip and no line %s",
				  printable(text).c_str());
	reply.done();
}

void run_unplug(Bench &bench, const Words &words, const Reply &reply)
{
	set_plugged(bench, words[0], false, reply);
}

void run_plug(Bench &bench, const Words &words, const Reply &reply)
{
	set_plugged(bench, words[0], true, reply);
}

void end_kernel_call(int error, const Line &line, const Reply &reply)
{
	if (error == 0)
		reply.done();
	else
		reply.fail("%s: %s (%s)", line.title().c_str(),
			   g_strerror(error), errno_symbol(error));
}

void run_export(Bench &bench, const Words &words, const Reply &reply)
{
	Line *line = find_line(bench, words[0], reply);

	if (line)
		end_kernel_call(bench.board.export_line(line->number, BOARD),
				*line, reply);
}

void run_unexport(Bench &bench, const Words &words, const Reply &reply)
{
	Line *line = find_line(bench, words[0], reply);

	if (line)
		end_kernel_call(bench.board.unexport_line(line->number, BOARD),
				*line, reply);
}

void run_state(Bench &bench, const Words &words, const Reply &reply)
{
	Line *only =
		words.empty() ? nullptr : find_line(bench, words[0], reply);

	if (!words.empty() && !only)
		return;
	reply.line(board_row(bench.board.description().name));
	for (auto &[number, line] : bench.board.lines())
		if (only ? only == &line : is_of_interest(line))
			reply.line(line_row(line));
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

constexpr BoardCommand COMMANDS[] = {
	{"press", "BUTTON [MS]", "hold a button for MS (200), then release it",
	 1, 2, run_press},
	{"hold", "BUTTON", "press a button down", 1, 1, run_hold},
	{"release", "BUTTON", "let go of it", 1, 1, run_release},
	{"open", "DOOR", "open a door, and its contact", 1, 1, run_open},
	{"close", "DOOR", "close it", 1, 1, run_close},
	{"line", "LINE high|low|toggle",
	 "drive a line from outside; prints its level", 2, 2, run_line},
	{"burst", "LINE COUNT",
	 "change its level COUNT times, fast; prints the last one", 2, 2,
	 run_burst},
	{"fail", "LINE ERRNO|none [read|write|export]",
	 "make the use of its files fail, or work again", 2, 3, run_fail},
	{"unplug", "CHIP|LINE", "take it from its driver", 1, 1, run_unplug},
	{"plug", "CHIP|LINE", "give it back", 1, 1, run_plug},
	{"export", "LINE", "export it as another user of the kernel", 1, 1,
	 run_export},
	{"unexport", "LINE", "and the opposite", 1, 1, run_unexport},
	{"state", "[LINE]",
	 "the board as fields with tabs between, for scripts", 0, 1, run_state},
	{"history", "[SINCE]", "all changes after the one of that number", 0, 1,
	 run_history},
	{"follow", "[SINCE]", "the same, and every new one as it happens", 0, 1,
	 run_follow},
};

} // namespace

std::span<const BoardCommand> board_commands()
{
	return COMMANDS;
}

const BoardCommand *find_board_command(const std::string &name)
{
	for (const BoardCommand &command : COMMANDS)
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
