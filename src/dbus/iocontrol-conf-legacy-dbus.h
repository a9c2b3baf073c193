#pragma once

/// The ports' objects for the older configuration system, under the name
/// com.vexa.Configuration.Legacy.IOControl1.IOPort on the system bus. Their
/// manual is the interface description beside this file. Main thread.

/// Connects to the bus, for at most 5 s, before anything does that in the
/// background: that would be waited for, however long it takes. No bus ends the
/// process.
void iocontrol_conf_legacy_dbus_connect();

/// Puts an object on the bus for every port there is now, and one for port 0 at
/// least, announces the counts, and takes the name, which waits for the bus.
/// What fails ends the process: no bus, an object that is taken, a name that
/// the bus refuses. A name that somebody else has is waited for. The objects
/// must not be there yet.
void iocontrol_conf_legacy_dbus_create();

/// Takes everything off the bus again. The objects must be there.
void iocontrol_conf_legacy_dbus_destroy();
