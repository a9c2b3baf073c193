#pragma once

/// What the programs that the daemon is measured against have in common.

#include <iocontrol-state-glue.h>

/// Exports @p skeleton on the system bus where the daemon has its own, as
/// @p name, and runs the default main context until SIGTERM.
void serve(IOControlState *skeleton, const char *name);
