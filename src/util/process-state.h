#pragma once

/// What the whole process may ask about how it was started and whether it is
/// still meant to run.

#include <atomic>

namespace util
{

/// Becomes false, once, when the daemon is told to end. Worker loops poll it.
extern std::atomic<bool> running;

/// Set by main from the command line, before anything reads it.
void set_use_legacy_interface(bool use);

} // namespace util

/// Whether the objects and files of the older configuration system are served.
bool use_legacy_interface();
