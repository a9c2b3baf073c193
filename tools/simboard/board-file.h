#pragma once

/// The board file: a key file that says what is on a board. Its reference is
/// docs/simulated-board.md.

#include "circuit.h"

#include <glib.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace simboard
{

struct ChipDescription {
	std::string name;
	unsigned base = 0;  ///< Number of its first line.
	unsigned lines = 0; ///< How many it has.
	std::string label;
};

struct LineDescription {
	std::string name;
	unsigned number = 0;
	Wiring wiring = Wiring::WIRE;
	Level idle = Level::LOW;
	std::string folder;  ///< Where firmware exports it; empty: it does not.
	std::string follows; ///< Name of the line it is wired to, or empty.
	/// As the boot loader has left it; an output has the level idle.
	Direction direction = Direction::IN;
};

struct ConverterDescription {
	std::string name;
	std::string device; ///< Name of its file in /dev.
};

struct LoopDescription {
	std::string name;
	std::string converter; ///< That measures it.
	unsigned address = 0;  ///< Of the converter's channel.
	Circuit circuit;
	std::string line; ///< That reads the same contact, or empty.
};

struct BoardDescription {
	std::string name;
	bool has_group = false;
	gid_t group = 0; ///< Of the files, when has_group.
	/// How long after an export its files appear, and how long after that
	/// they get their group.
	unsigned attribute_delay_ms = 0;
	unsigned group_delay_ms = 0;
	std::vector<ChipDescription> chips;
	std::vector<LineDescription> lines;
	std::vector<ConverterDescription> converters;
	std::vector<LoopDescription> loops;
};

/// Reads the file. False with a usage error set, which names the file and,
/// where there is one, the group and the key, when anything in it is wrong.
bool read_board_file(const char *path, BoardDescription &board, GError **error);

/// The same for text that was read from path.
bool parse_board(const std::string &text, const char *path,
		 BoardDescription &board, GError **error);

} // namespace simboard
