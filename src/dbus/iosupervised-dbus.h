#pragma once

/// The Supervised interface: com.vexa.IOSupervised.Supervised on the system
/// bus. Its manual is the interface description beside this file.

/// Starts owning the name; the interface is exported once there is a bus. A
/// failed export is logged and the daemon goes on. Main thread.
void iosupervised_init_dbus();

/// Takes the interface and the name off the bus. Main thread.
void iosupervised_unreg_dbus();
