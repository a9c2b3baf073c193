#pragma once

#include <iocontrol-state-glue.h>

/// Connects the handlers of the State interface's methods. They run on the
/// main thread and answer every call.
void iocontrol_connect_handlers(IOControlState *skeleton);
