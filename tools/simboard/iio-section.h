#pragma once

/// The groups of the board file that are about Industrial I/O.

#include "board-file.h"
#include "section.h"

namespace simboard
{

bool read_iio_section(Section section, const std::string &name,
		      BoardDescription &board);
bool read_channel_section(Section section, const std::string &name,
			  BoardDescription &board);

} // namespace simboard
