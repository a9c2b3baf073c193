#pragma once

/// The kernel's request for an ioctl, which may be answered later.

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

namespace simboard
{

void on_ioctl(fuse_req_t request, fuse_ino_t, unsigned command, void *,
	      fuse_file_info *info, unsigned flags, const void *argument,
	      size_t size, size_t answer_size) noexcept;

} // namespace simboard
