#pragma once

#include <optional>
#include <string>

/// Reads the boot-block parameter @p name from the device's system service, on
/// the system bus, and blocks for as long as that takes: at most 5 s to reach
/// the bus and the bus's default time-out for each of the two calls. On any
/// failure, which is logged, @p value is left alone.
///
/// Uses a connection of its own, closed on return: the process's shared one
/// must not be made before the process has taken on its final identity.
void bootblock_read_param(const char *name, std::optional<std::string> *value);
