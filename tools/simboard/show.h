#pragma once

/// The sub-commands that print what a served board says.

#include <glib.h>

#include <string>
#include <vector>

namespace simboard
{

/// Prints the answer to a request, line by line as it comes.
bool print_answer(const std::string &socket,
		  const std::vector<std::string> &words, GError **error);

/// Prints the board's picture.
/// @param live draws it again, on the terminal, after each change, until the
///     process is interrupted.
bool show_board(const std::string &socket, bool live, GError **error);

} // namespace simboard
