#pragma once

/// The State interface: com.vexa.IOControl.State on the system bus. Its
/// manual is the interface description beside this file; its signals are
/// emitted through ioport/port-seam.h.

/// Starts owning the name; the interface is exported once there is a bus. True
/// always: a failed export is logged and the daemon goes on. Main thread.
bool iocontrol_init_dbus();

/// Takes the interface and the name off the bus. True always. Main thread.
bool iocontrol_unreg_dbus();
