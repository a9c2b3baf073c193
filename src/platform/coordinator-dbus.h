#pragma once

/// Follows the PTZ coordinator. Main thread.

/// Takes over what the coordinator says, now and whenever that changes. Blocks
/// while the coordinator is asked.
void coordinator_dbus_init();

/// Stops following the coordinator.
void coordinator_dbus_finalize();
