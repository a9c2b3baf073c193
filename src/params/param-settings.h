#pragma once

/// One port's settings as keys of a key file, a group per port: which keys a
/// port has, in which order they are read and written, how they are spelled.
/// The caller holds whatever lock guards the key file.

#include "ioport/ioport.h"

/// Copies the saved settings of @p port into it, each as soon as it is read.
/// The first key that is missing or malformed ends the reading: false, with a
/// message on standard error, and the values after it stay as they are. A
/// button type that is no known word ends it as well, but with true. False,
/// without a message, when the key file has no group for the port. Main thread,
/// as the ranges of a supervised port are the backend's to take.
bool param_settings_read(IOPort *port, GKeyFile *key_file);

/// Copies the port's settings into its group of @p key_file; an unset text is
/// written as an empty one, since a missing key would end the next reading.
/// False, with nothing written, for a port without a name, and with a warning
/// for one whose name cannot be a group's.
bool param_settings_write(IOPort *port, GKeyFile *key_file);
