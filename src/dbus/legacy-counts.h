#pragma once

/// Tells the older configuration system how many inputs and outputs there are,
/// through the platform's configuration events. Main thread.

/// Starts announcing, with the present counts.
void legacy_counts_init();

/// Stops announcing.
void legacy_counts_finalize();

/// Announces both counts; nothing when announcing was not started. The port
/// list's lock must not be held.
void legacy_counts_announce();
