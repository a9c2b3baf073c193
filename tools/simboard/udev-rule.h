#pragma once

/// Who may use the board's files besides root.

#include "board-file.h"
#include "node.h"

namespace simboard
{

/// What a udev rule does: the node gets the board's group, which may then do
/// what its owner may. Nothing when the board has no group.
void apply_udev_rule(Node &node, const BoardDescription &board);

} // namespace simboard
