#pragma once

/// The commands that a board takes on its control socket. The command line
/// passes them on, and its help is printed from this table.

#include "hand.h"
#include "loops.h"
#include "ramps.h"
#include "reply.h"

#include <span>
#include <vector>

namespace simboard
{

/// What commands work with.
struct Bench {
	Board &board;
	Converters &converters;
	Iio &iio;
	Loops &loops;
	Hand &hand;
	Ramps &ramps;
	/// Has the client told of every change from now on.
	std::function<void(const Reply &reply)> follow;
};

using Words = std::vector<std::string>;

struct BoardCommand {
	const char *name;
	const char *arguments; ///< As the help shows them.
	const char *summary;
	std::size_t least_arguments;
	std::size_t most_arguments;
	/// @param words the arguments, as many as it takes.
	/// @param reply ended now or later.
	void (*run)(Bench &bench, const Words &words, const Reply &reply);
};

const std::vector<BoardCommand> &board_commands();

/// Null when there is none of that name.
const BoardCommand *find_board_command(const std::string &name);

/// Runs the request in words, which may be wrong in any way.
void run_board_command(Bench &bench, const Words &words, const Reply &reply);

} // namespace simboard
