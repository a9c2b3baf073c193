#pragma once

/// The board as rows of fields with tabs between them, for "state" and what is
/// made from it. The first field says what the row is about.

#include "board.h"

namespace simboard
{

/// The fields of a row about a line, in their order. Fields that have nothing
/// to say are "-".
enum LineField : std::size_t {
	FIELD_KIND, ///< "line"; "board" in the one row that has just a name.
	FIELD_NUMBER,
	FIELD_NAME,
	FIELD_CHIP,
	FIELD_WIRING,
	FIELD_DIRECTION,
	FIELD_LEVEL,
	FIELD_DRIVER, ///< Who drives it: daemon, board, idle or another line.
	FIELD_FOLDER,
	FIELD_EDGE,
	FIELD_ACTIVE_LOW, ///< 0 or 1
	FIELD_NOTE,       ///< Faults, unplugged.
	LINE_FIELDS
};

std::string board_row(const std::string &name);
std::string line_row(const Line &line);

/// Whether there is more to a line than that it exists.
bool is_of_interest(const Line &line);

} // namespace simboard
