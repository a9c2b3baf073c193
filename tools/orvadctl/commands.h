#pragma once

/// The table of commands, and the help that is printed from it.

#include "command.h"

namespace orvadctl
{

/// The command of that name; null when there is none.
const Command *find_command(const std::string &name);

/// The names of the commands that the help lists.
std::vector<std::string> command_names();

/// The help on the whole program.
std::string general_help();

/// The help on one command.
std::string command_help(const Command &command);

} // namespace orvadctl
