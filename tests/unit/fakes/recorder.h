#pragma once

/// The calls that reached the fakes, in order, one line each:
/// "function(port, arguments)". A port is written by its configuration name,
/// or as "#number" when it has none, a flag as 0 or 1. Any thread.

#include "ioport/ioport.h"

#include <functional>
#include <string>
#include <vector>

namespace recorder
{

void note(const char *format, ...) G_GNUC_PRINTF(1, 2);

/// A copy of the lines since the last reset.
std::vector<std::string> calls();

/// How many of them begin with @p prefix.
size_t count(const std::string &prefix);

/// Waits until @p times lines begin with @p prefix; false when they do not
/// come within a time that only a failure takes.
bool wait_for(const std::string &prefix, size_t times = 1);

/// Called with every line from now on, by the thread that recorded it, after
/// it was recorded. An empty function, or reset(), ends that.
void set_hook(std::function<void(const std::string &line)> new_hook);

void reset();

/// How @p port is written.
std::string name_of(const IOPort *port);

} // namespace recorder
