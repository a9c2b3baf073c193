#pragma once

/// The client of the device's action engine: has the templates of the two
/// output actions registered with it exactly while the device has a port that
/// can be driven. What the port list tells it is in ioport/port-seam.h. Main
/// thread.

/// Starts following the engine. Whenever it comes onto the bus its templates
/// are brought up to date.
void actionengine_dbus_init();

/// Stops following the engine and lets go of it; the templates stay as they
/// are.
void actionengine_dbus_finalize();
