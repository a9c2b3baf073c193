#pragma once

/// Follows the video channels of the streaming service. Main thread.

/// Looks at the channels, now and whenever the service comes onto the bus.
/// Blocks while the service is asked.
void streamer_dbus_init();

/// Stops following the service, as if it had left.
void streamer_dbus_finalize();
