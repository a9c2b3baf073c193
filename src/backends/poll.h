#pragma once

/// What the backends that poll their hardware share. Main thread.

#include "ioport/ioport.h"
#include "util/scoped-source.h"

namespace backend
{

/// A poll interval of the configuration, in milliseconds; decimal, "0x"
/// hexadecimal or leading-0 octal. A text that is no number stands for 0. One
/// that is negative, or too large, is warned of; it is taken as the nearest
/// that can be had.
gint32 parse_poll_interval(const IOPort *port, const char *text);

/// Calls @p tick with @p port every @p interval milliseconds; 0 on every round
/// of the main loop. A negative interval counts as unsigned, which is weeks:
/// such a port is not polled. A poll that runs goes on, or whoever has it
/// started often enough would keep it from ever being due.
void start_poll(util::ScopedSource &poll, gint32 interval, GSourceFunc tick,
		IOPort *port);

} // namespace backend
