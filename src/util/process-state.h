#pragma once

/// What the whole process may ask about how it was started and whether it is
/// still meant to run.

#include <atomic>

namespace util
{

/// Becomes false, once, when the daemon is told to end. Worker loops poll it.
extern std::atomic<bool> running;

/// Takes note of the only argument that means something, the first if it is
/// "--disable_legacy_interface". Before anything asks; without it the
/// older system is served.
void read_command_line(int argc, const char *const *argv);

} // namespace util

/// Whether the objects and files of the older configuration system are served.
bool use_legacy_interface();
