#pragma once

/// The commands, by what they are about.

#include "commands.h"

namespace simboard
{

/// What is wired to lines, and lines as another user of the kernel.
std::span<const BoardCommand> line_commands();

/// Converters and what they measure.
std::span<const BoardCommand> loop_commands();

/// Channels that change by themselves.
std::span<const BoardCommand> channel_commands();

/// Faults and pulling out: every kind of part of the board.
std::span<const BoardCommand> part_commands();

} // namespace simboard
