#pragma once

/// How whoever hands out event descriptors learns where to get one. The board
/// cannot hand out any itself: for each device that has events it shows a file
/// that is such a descriptor once it is open, and answers an ioctl on the
/// device with that file's path.

#include <sys/ioctl.h>

namespace simboard
{

/// In the mount point.
constexpr const char *EVENT_FOLDER = "events";

/// Absolute, as the board sees it; ends with a zero byte.
struct EventFilePath {
	char text[256];
};

constexpr unsigned EVENT_FILE_IOCTL = _IOR('i', 0xf0, EventFilePath);

} // namespace simboard
