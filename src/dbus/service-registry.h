#pragma once

/// The two files that tell the rest of the platform about the ports' objects
/// for the older configuration system.

/// Writes both for the ports that are in service: which objects and interfaces
/// there are, and which parameter of the older system each property is. Each
/// file is replaced at once, or stays as it was, which is logged. Files that
/// root writes become the daemon's user's, so that they can be replaced
/// later. Main thread; the port list's lock must not be held.
void generate_service_registry();

/// Removes what a daemon that was killed while it wrote the files has left in
/// the folder of port configurations, where it would end their reading. Before
/// they are read.
void service_registry_clean_up();
