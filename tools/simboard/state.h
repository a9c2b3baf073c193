#pragma once

/// The board as rows of fields with tabs between them, for "state" and what is
/// made from it. The first field says what the row is about.

#include "loops.h"

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
	/// Who drives it: daemon, board, idle, boot (the boot loader) or
	/// another line.
	FIELD_DRIVER,
	FIELD_FOLDER,
	FIELD_EDGE,
	FIELD_ACTIVE_LOW, ///< 0 or 1
	FIELD_NOTE,       ///< Faults, unplugged.
	LINE_FIELDS
};

/// The same of a converter.
enum ConverterField : std::size_t {
	CONVERTER_KIND, ///< "converter"
	CONVERTER_NAME,
	CONVERTER_DEVICE,
	CONVERTER_MODE,
	CONVERTER_BITS,
	CONVERTER_SPEED,     ///< In Hz.
	CONVERTER_USERS,     ///< How often it is open.
	CONVERTER_MESSAGES,  ///< How many have reached it since power-on.
	CONVERTER_TRANSFERS, ///< In those messages.
	CONVERTER_SELECTED,  ///< Address of the channel.
	CONVERTER_NOTE,      ///< Faults, unplugged.
	CONVERTER_FIELDS
};

/// The same of a loop.
enum LoopField : std::size_t {
	LOOP_KIND, ///< "loop"
	LOOP_NAME,
	LOOP_CONVERTER,
	LOOP_ADDRESS,
	LOOP_STATE,
	LOOP_LEVEL,
	LOOP_READINGS, ///< How often its level was read since power-on.
	LOOP_LINE,
	LOOP_FIELDS
};

std::string board_row(const std::string &name);
std::string line_row(const Line &line);
std::string converter_row(const Converter &converter);
std::string loop_row(const Loop &loop);

/// Whether there is more to a line than that it exists.
bool is_of_interest(const Line &line);

} // namespace simboard
