#pragma once

/// A board with one of each kind of line, as the tests use it.

#include "simboard/board.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

#include <vector>

constexpr const char *BOARD_TEXT = R"([Board]
Name=Test board

[Chip main]
Base=0
Lines=32

[Chip spare]
Base=100
Lines=8
Label=expander

[Line button]
Number=1
Wiring=button

[Line door]
Number=2
Wiring=door contact

[Line siren]
Number=3
Wiring=relay

[Line feedback]
Number=4
Follows=siren

[Line named]
Number=5
Exported=aux
)";

/// What a board with alarm loops has besides.
constexpr const char *LOOPS_TEXT = R"(
[Line entrance]
Number=6
Wiring=door contact

[Converter adc]
Device=spidev0.1

[Loop front]
Converter=adc
Address=0x1f
Line=entrance

[Loop gate]
Converter=adc
Address=2
Wiring=normally open
)";

constexpr simboard::Actor DAEMON = 4711;

inline simboard::BoardDescription
describe_board(const std::string &text = BOARD_TEXT)
{
	simboard::BoardDescription description;
	util::Error error;

	EXPECT_TRUE(
		simboard::parse_board(text, "test.board", description, &error))
		<< error.message();
	return description;
}

inline simboard::BoardDescription describe_loops()
{
	return describe_board(std::string(BOARD_TEXT) + LOOPS_TEXT);
}

/// The texts of the changes after since, without their ids and times.
inline std::vector<std::string> changes_since(simboard::Board &board,
					      guint64 since = 0)
{
	std::vector<std::string> texts;

	board.history().visit_since(since, [&](const simboard::Change &change) {
		std::string text = change_text(change);
		for (int field = 0; field < 2; ++field)
			text.erase(0, text.find(' ') + 1);
		texts.push_back(text);
	});
	return texts;
}

inline guint64 last_change(simboard::Board &board)
{
	guint64 last = 0;

	board.history().visit_since(
		0, [&](const simboard::Change &change) { last = change.id; });
	return last;
}
