#pragma once

/// What the port model asks of supervised ports. Supervised inputs are watched
/// for tampering by backends that measure the line. Main thread, but for what
/// says otherwise.

#include "ioport/ioport.h"

/// Whether the port's backend can supervise it. A port without a backend is a
/// programming error. Any thread.
bool io_port_is_supervisable(IOPort *port);

/// True when the port works as an input now and supervision is switched on.
/// Any thread.
bool io_port_supervised_input(const IOPort *port);

/// Switches supervision on or off and has the hardware follow; a port that
/// works as an input then is set to input again. False, with nothing changed,
/// when it cannot be supervised. The events are not declared again: that is
/// io_port_redeclare_events().
bool io_port_set_supervised(IOPort *port, bool on);

/// The port's own list; false when the port has none. Any thread; only the main
/// thread may walk it without the port's `ranges_lock`.
bool io_port_get_supervised_ranges(IOPort *port, SupervisedRangeList **ranges);

/// Gives the port a new list, taking over the contents of @p ranges; false,
/// perhaps without an error, when it is refused.
bool io_port_set_supervised_ranges(IOPort *port, SupervisedRangeList *ranges,
				   GError **error);

/// Adds the range of the state called @p word behind the port's other ranges,
/// in place of the one of that state. The limits are compared as signed
/// numbers: each is below 65536, and the lower one below the upper one. Errors:
/// what is wrong with the range, a port without ranges, or what the backend
/// reports; the port's ranges stay as they are then. When a backend refuses
/// without giving a reason, none is set.
bool io_port_add_supervised_range(IOPort *port, const char *word, guint32 lower,
				  guint32 upper, GError **error);

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
