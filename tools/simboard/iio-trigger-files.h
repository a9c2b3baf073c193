#pragma once

/// The files of the kernel's triggers: the folder in which users make them by
/// making folders, and the folders that they get beside the devices
/// (Documentation/iio/iio_configfs.rst of Linux 6.1).

#include "board-file.h"
#include "iio-triggers.h"
#include "node.h"

namespace simboard
{

/// Shows the triggers in devices and lets users make them.
/// @param triggers, board must outlive the folders.
/// @return what belongs at configfs's iio/triggers/hrtimer.
std::shared_ptr<Folder> make_trigger_folder(IioTriggers &triggers,
					    const BoardDescription &board,
					    std::shared_ptr<Folder> devices);

} // namespace simboard
