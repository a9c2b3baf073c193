#pragma once

/// What is asked about a request of the kernel's.

#include "fuse-layer.h"

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

namespace simboard
{

FuseLayer &layer_of(fuse_req_t request);

/// Null when nothing, or a folder, was opened so.
OpenFile *find_file(fuse_req_t request, const fuse_file_info *info);

/// The kernel tells which thread has asked; its process is what a user knows.
pid_t process_of(fuse_req_t request);

} // namespace simboard
