#pragma once

/// Follows the connection to the system bus, behind the gate for calls.

/// Takes the process's shared connection to the system bus and calls @p lost,
/// on the main loop and after a warning, when the bus goes away; GLib would
/// end the process on the spot. Without a bus there is a warning and nothing
/// else. Call it once, and only after the process has taken on its final
/// identity: the bus knows a connection by the user who made it.
void bus_watch_init(void (*lost)());

/// Lets go of the connection; @p lost is not called any more.
void bus_watch_finalize();
