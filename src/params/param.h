#pragma once

/// The parameter store: the users' settings of every port, kept in a key file
/// over restarts. The file is open only while it is read at start-up, and
/// within each save, which reads, changes and writes the whole file so that
/// other ports' groups and the comments stay. Main thread, with no port's lock
/// held; the open file has a lock of its own, taken after the port list's and
/// before a port's `ranges_lock`.
///
/// param_get_conf_vals(), which copies a port's saved settings from the open
/// file into the port, is declared in ioport/port-seam.h.

#include "ioport/port-seam.h"

/// Opens @p path, closing an earlier one; comments are kept. A missing file is
/// an empty one. False, with a message on standard error and no file open,
/// when it cannot be read or is no regular file.
bool param_read_configuration(const char *path);

/// Closes the open file, if any.
void param_close_file();

/// Writes the open file to @p path, which is replaced durably and at once.
/// False, with a message on standard error, when that failed; false, with
/// GLib's precondition warning, when no file is open.
bool param_store_key_file(const char *path);

/// Copies the port's settings into its group of the open file. False, with
/// GLib's precondition warning, when none is open; false for a port whose
/// settings cannot be kept (param_settings_write()).
bool param_set_conf_vals(IOPort *port);

/// Saves one port's settings in the file @p path: in the open file, which stays
/// open, or in one that is opened for it. A file that cannot be read gives a
/// precondition warning and is left alone, as it is when there is nothing to
/// save. A null port is a programming error. False when anything that is to be
/// kept was not saved.
bool param_save_for_port(IOPort *port, const char *path);

/// Saves every port in service whose number is below the count of them, in
/// the order of their numbers. False when any was not saved.
bool param_save_all(const char *path);

/// Gives the file to the user and the group "qel", so that the daemon can
/// rewrite it without its start-up rights. A symbolic link is not followed.
/// Without such a user nothing happens, without such a group the file keeps
/// its group; each is logged as a warning, as is a failure.
void param_set_owner_group(const char *path);
