#pragma once

/// Timed state changes played on one port by a thread of their own, the locks
/// that go with them, and the manual trigger port.

#include "ioport/ioport.h"

#include <vector>

/// One step: set a state, hold it.
struct ActionStep {
	/// The same for every step of a sequence. Not a reference of its own.
	IOPort *port;
	/// Simulate the change instead of driving the line.
	bool virtual_step;
	bool state;
	/// Milliseconds. Times 1000 this is a signed 32-bit number of
	/// microseconds that wraps; a negative result ends the step at once.
	gint32 duration;
};

/// Takes `lock` with no sequence running: one that runs is told to stop and
/// waited for. The caller releases `lock`, and holds neither of the port's
/// locks when it calls. Not from the port's own action thread.
void io_port_lock_exclusive(IOPort *port);

/// Takes `lock`; while a sequence runs, between two of its steps, and without
/// ending it. The caller holds neither of the port's locks. Not from the
/// port's own action thread.
std::unique_lock<std::mutex> io_port_lock_between_steps(IOPort *port);

/// True when somebody holds one of the port's locks or a sequence runs.
bool io_port_lock_taken(IOPort *port);

/// Plays @p steps on a new thread. Refused, with a warning, for an empty list,
/// on a port that is not set up, when a sequence runs already, when the thread
/// cannot be started, and, unless the first step is virtual, on inputs and
/// virtual ports. When accepted, the port is busy on return, and @p port has
/// been moved to the thread, which announces the end of the sequence.
bool io_port_run_action_sequence(PortRef &port, std::vector<ActionStep> steps);

/// The thread's body: plays @p steps and announces their end.
void io_port_run_sequence_internal(std::vector<ActionStep> steps);

/// Ends every sequence that runs now, those of ports that are on no list any
/// more included. No lock may be held.
void io_port_abort_sequences();

/// Waits until no action thread is left. Every sequence must have been told to
/// stop, or end by itself.
void io_port_join_sequences();

/// A new manual trigger, set up and disabled: a virtual output named
/// "manualtrigger%d" with @p index (from 1), numbered from the first virtual
/// port number on. The reference is the caller's.
PortRef io_port_create_manual_trigger(int index);

/// The number of the first virtual input and manual trigger, 5 unless the
/// configuration says otherwise. Main thread.
void virtual_input_set_first_port_no(int number);
int virtual_input_get_first_port_no();
/// Whether the configuration has set that number.
bool virtual_input_configured();
