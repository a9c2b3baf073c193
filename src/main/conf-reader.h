#pragma once

/// Reads port configurations: XML files that declare the ports in the order of
/// their start tags (docs/port-configuration.md). Main thread, start-up only.

/// Reads one file and adds its ports to the list. False, after a critical log
/// line, when it cannot be read, is neither a regular file nor /dev/null, or is
/// not well formed; what was read before the fault stays.
bool conf_read_configuration(const char *path);

/// Reads every file of a directory, in the order of its listing, up to the
/// first that fails; false then, and when there is no such directory. What
/// belongs to the daemon's user is left out, with a warning, when root reads:
/// the daemon may write there for other reasons.
bool conf_read_drop_dir(const char *path);
