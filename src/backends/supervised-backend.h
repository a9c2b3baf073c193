#pragma once

/// What the backends of supervised inputs have in common: three operations of
/// their tables, and what a measured level means.

#include "ioport/ioport.h"

/// True for inputs and configurable ports.
bool supervised_is_supervisable(IOPort *port);

/// The port's own list.
SupervisedRangeList *supervised_get_supervised_ranges(IOPort *port);

/// Takes over the contents of @p list. A null or empty list fails with
/// IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE, "Ranges is null.".
bool supervised_set_supervised_ranges(IOPort *port, SupervisedRangeList *list,
				      GError **error);

/// The last range that @p level is in; null when it is in none.
const SupervisedRange *supervised_find_range(const SupervisedRangeList &ranges,
					     guint32 level);

/// What @p level means: the state of the last range that it is in, else
/// SUPERVISED_UNDEFINED.
SupervisedState supervised_classify(const SupervisedRangeList &ranges,
				    guint32 level);

/// The same with the port's own ranges. False, with
/// IO_SUPERVISED_ERROR_NOT_SUPERVISED, when it has none to offer. Takes the
/// port's ranges_lock. Any thread.
bool supervised_classify_port(IOPort *port, guint32 level,
			      SupervisedState *state, GError **error);
