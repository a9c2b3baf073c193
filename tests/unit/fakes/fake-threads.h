#pragma once

/// Stands in for g_thread_try_new(), so that a test decides whether and when a
/// thread gets going.

namespace fake_threads
{

/// Every start fails from now on, as on a system without resources, until
/// reset().
void refuse();

/// Threads that are started from now on wait before their first step, until
/// reset().
void hold();

/// Threads start as ever; those that wait go on.
void reset();

} // namespace fake_threads
