#pragma once

/// The State and Connector interfaces: com.vexa.IOControl.State and
/// com.vexa.QEL.Connector on the system bus. Their manuals are the interface
/// descriptions beside this file; the signals of the first are emitted through
/// ioport/port-seam.h.

/// Starts owning the names; the interfaces are exported once there is a bus.
/// True always: a failed export is logged and the daemon goes on. Main thread.
bool iocontrol_init_dbus();

/// Takes the interfaces and the names off the bus. True always. Main thread.
bool iocontrol_unreg_dbus();
