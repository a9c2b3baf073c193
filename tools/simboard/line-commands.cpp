#include "command-groups.h"

#include "error.h"
#include "lookups.h"

namespace simboard
{

namespace
{

constexpr unsigned USUAL_PRESS_MS = 200;
constexpr unsigned LONGEST_PRESS_MS = 3600000;
constexpr unsigned LONGEST_BURST = 1000000;

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
	Loop *loop = bench.loops.find_contact(*line);
	if (loop)
		bench.loops.set(*loop,
				away ? LoopState::OPEN : LoopState::CLOSED);
	else
		bench.board.drive(*line,
				  away ? opposite(line->idle) : line->idle);
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

constexpr BoardCommand LINE_COMMANDS[] = {
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
	{"export", "LINE", "export it as another user of the kernel", 1, 1,
	 run_export},
	{"unexport", "LINE", "and the opposite", 1, 1, run_unexport},
};

} // namespace

std::span<const BoardCommand> line_commands()
{
	return LINE_COMMANDS;
}

} // namespace simboard
