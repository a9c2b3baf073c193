#pragma once

/// The board as a picture for a person.

#include <string>
#include <vector>

namespace simboard
{

/// @param rows the answer to "state".
/// @param colour whether to use a terminal's colours.
std::string board_picture(const std::vector<std::string> &rows, bool colour);

} // namespace simboard
