#pragma once

/// A port's state: reading it, driving it, and the one path by which a change
/// reaches the outside world. A logical state is 1 (active) or 0 (inactive);
/// it is the line's level, inverted when the port's active level is 1.

#include "ioport/ioport.h"

/// True when the port works as an input now: an input, or a configurable port
/// whose direction is input.
bool io_port_input(const IOPort *port);

/// As io_port_input(), without needing a backend. A port of an unknown type is
/// a programming error.
bool io_port_direction_input(const IOPort *port);

/// The logical state; 0 when the port is not set up or the line is unknown.
/// Any thread.
int io_port_get_state(IOPort *port);

/// Drives an output. Refused, with a warning, on an input, on a virtual port
/// and on one that is not set up. Takes `lock`, so it waits until a running
/// sequence is between two steps, and does not end that sequence.
bool io_port_set_state(IOPort *port, int state);

/// Drives the line without any check and announces the change, if it is one.
/// `lock` is held.
void io_port_set_state_internal(IOPort *port, int state);

/// Announces @p state as a simulated change; a virtual output takes the state.
/// Always true; on a disabled port nothing happens.
bool io_port_set_virtual(IOPort *port, int state);

/// Announces a change that a backend saw. The state is not stored.
void io_port_trigger(IOPort *port, int state);

/// Sends the events that apply to the port now.
void io_port_send_events(IOPort *port, int state);

/// Emits PortChanged, unless the port is disabled.
void io_port_send_signal(IOPort *port, bool virtual_trig, int state);

/// Has the backend watch the input; nothing on outputs and disabled ports.
void io_port_set_watch(IOPort *port);

/// True when the port is enabled and has an event named "PortAny".
bool io_port_got_port_any(const IOPort *port);
