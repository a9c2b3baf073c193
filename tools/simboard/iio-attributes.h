#pragma once

/// The attributes of a device of the kernel's Industrial I/O.

#include "iio.h"
#include "node.h"

namespace simboard
{

/// The folder with all of them.
/// @param iio, device, board must outlive it.
std::shared_ptr<Folder> make_iio_folder(Iio &iio, IioDevice &device,
					const BoardDescription &board);

} // namespace simboard
