#pragma once

/// The answers to the kernel's requests. The user data of a request is the
/// FuseLayer that serves it.

#define FUSE_USE_VERSION 312
#include <fuse_lowlevel.h>

namespace simboard
{

extern const fuse_lowlevel_ops FUSE_OPERATIONS;

} // namespace simboard
