#pragma once

/// The import of settings that the device's older parameter system has left.

#include <glib.h>

/// Copies the settings in the file @p path to the ports in service; saving them
/// is the caller's. The file is a key file whose values are taken as they
/// stand. A missing file is no error, and is logged.
///
/// False, with an error, when anything in it could not be used: what is wrong
/// in a group spoils the rest of that group, and the first error is the one
/// returned. A group of inputs or outputs of a port that is not there ends the
/// import, which is said on standard error; what was applied before stays.
/// Main thread, before the ports are set up.
bool read_parhand_parameters(const char *path, GError **error);
