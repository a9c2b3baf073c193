#pragma once

/// The terminal that output goes to.

#include <cstddef>

namespace orvadctl
{

/// Whether what was written to fd can be written over: a terminal that moves
/// its cursor.
bool can_redraw(int fd);

/// How many columns the terminal has now; 80 when that cannot be told.
std::size_t terminal_width(int fd);

/// How many rows; 24 when that cannot be told.
std::size_t terminal_height(int fd);

/// Whether the user's locale writes UTF-8.
bool locale_is_utf8();

} // namespace orvadctl
