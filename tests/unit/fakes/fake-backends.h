#pragma once

/// Backends that record every call but get_state, as "<backend>.<slot>(port,
/// arguments)", and do as they are told. The table calls of virtual,
/// gpio, null, sysfs and check give tables with the slots that the real ones
/// have. A configuration item of the element "range" adds a range to the port's
/// list, as those of supervised backends do.

#include "ioport/ioport.h"

#include <atomic>

namespace fake_backends
{

/// The private record behind each port of a fake backend other than "null".
struct Data {
	/// What get_state gives, and set_state writes.
	std::atomic<int> level = 0;
	bool supervisable = true;
	bool readout_fails = false;
	SupervisedState readout = SUPERVISED_OPEN;
	/// So many of the next setups fail.
	int setups_to_fail = 0;
};

/// What every setup answers until reset().
void set_setup_result(bool result);

void reset();

/// The port's record, which is null after free.
Data *data(const IOPort *port);

/// Binds @p port to a backend "full" that has all thirteen slots.
void bind_full(IOPort *port);

} // namespace fake_backends
