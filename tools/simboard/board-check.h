#pragma once

/// Whether the parts of a described board fit together.

#include "board-file.h"

namespace simboard
{

/// False with a usage error set, which names the file, the group and the key,
/// when a name is not usable or used twice, chips overlap, a line is on no
/// chip or is taken twice, a line follows what it cannot follow, a device is no
/// SPI device or taken twice, a channel has no device or is there twice, or a
/// loop is connected to what is not there.
bool check_board(const BoardDescription &board, const char *path,
		 GError **error);

} // namespace simboard
