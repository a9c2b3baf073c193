#include "udev-rule.h"

namespace simboard
{

namespace
{

constexpr unsigned OWNER_TO_GROUP = 3;

} // namespace

void apply_udev_rule(Node &node, const BoardDescription &board)
{
	if (!board.has_group)
		return;
	node.group = board.group;
	node.mode |= (node.mode & S_IRWXU) >> OWNER_TO_GROUP;
}

} // namespace simboard
