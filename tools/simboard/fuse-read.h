#pragma once

/// The kernel's request to read, which may have to wait.

#include "fuse-layer.h"

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

namespace simboard
{

void on_read(fuse_req_t request, fuse_ino_t, size_t size, off_t offset,
	     fuse_file_info *info) noexcept;

/// Has the reads of an open file that wait looked at when it says so.
void park_reads(FuseLayer &layer, std::uint64_t handle);

/// Asks the file and answers. False when there is nothing yet.
bool answer_read(OpenFile &file, fuse_req_t request, std::size_t size,
		 off_t offset);

} // namespace simboard
