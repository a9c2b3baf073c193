#pragma once

/// Runs a program so that its devices of the kernel's Industrial I/O can give
/// it an event descriptor, which a file system in user space cannot do: a
/// seccomp filter holds that one ioctl up, and a helper beside the program
/// answers it. Everything else that the program does goes straight to the
/// kernel.

#include <glib.h>

#include <string>
#include <vector>

namespace simboard
{

/// Becomes the program, which keeps this process and all that is open. The
/// helper ends with the last process that has inherited the filter; it must see
/// the board's mount point.
/// @param command the program and its arguments.
/// @return only when that fails, with error set.
bool launch(const std::vector<std::string> &command, GError **error);

} // namespace simboard
