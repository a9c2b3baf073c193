#pragma once

/// Switches the process to the user and group @p name, groups first, since the
/// user may not change them. Stops at the first step that fails, with a
/// message on standard error; the process goes on as whoever it is then.
void drop_privileges(const char *name);
