#pragma once

/// Gives the ports that were configured their settings, from wherever they
/// were kept, and saves them: first those of an older version of the parameter
/// file, which goes once they are safe; then those of the parameter file, which
/// becomes the daemon's user's; then those that the older parameter system has
/// left; then default names. What comes later wins. False, which is logged,
/// when the parameter file cannot be read: the daemon cannot start then. Main
/// thread, before the ports are set up and the start-up rights given up.
bool load_settings();
