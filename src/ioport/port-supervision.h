#pragma once

/// What the port model asks of supervised ports. Supervised inputs are watched
/// for tampering by backends that measure the line.

#include "ioport/ioport.h"

/// Whether the port's backend can supervise it. A port without a backend is a
/// programming error.
bool io_port_is_supervisable(IOPort *port);

/// True when the port works as an input now and supervision is switched on.
bool io_port_supervised_input(const IOPort *port);

/// The port's own list; false when the port has none.
bool io_port_get_supervised_ranges(IOPort *port, SupervisedRangeList **ranges);

/// Gives the port a new list, taking over the contents of @p ranges; false,
/// perhaps without an error, when it is refused.
bool io_port_set_supervised_ranges(IOPort *port, SupervisedRangeList *ranges,
				   GError **error);

/// Measures the line: what it means, and the raw level. Errors: the port's
/// backend cannot measure, the port cannot be supervised, or what the backend
/// reports. Any thread.
bool io_port_get_supervised_readout(IOPort *port, SupervisedState *state,
				    guint32 *level, GError **error);

/// What the line means; SUPERVISED_OPEN when the port cannot be supervised or
/// is not set up, SUPERVISED_UNDEFINED, with a warning, when it cannot be
/// measured. Any thread.
SupervisedState io_port_get_supervised_state(IOPort *port);

/// Appends "closed", "open", "short", "cut". Always true.
bool io_port_get_supported_states(const IOPort *port,
				  std::vector<std::string> *states);
