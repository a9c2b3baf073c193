#include "backends/supervised-backend.h"

#include "ioport/io-errors.h"
#include "ioport/port-supervision.h"

#include <algorithm>
#include <utility>

bool supervised_is_supervisable(IOPort *port)
{
	return port->type == PORT_INPUT || port->type == PORT_IO_CTRL;
}

SupervisedRangeList *supervised_get_supervised_ranges(IOPort *port)
{
	return &port->supervised_ranges;
}

bool supervised_set_supervised_ranges(IOPort *port, SupervisedRangeList *list,
				      GError **error)
{
	if (list == nullptr || list->empty()) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
				    "Ranges is null.");
		return false;
	}
	const std::lock_guard lock(port->ranges_lock);
	port->supervised_ranges = std::exchange(*list, {});
	return true;
}

const SupervisedRange *supervised_find_range(const SupervisedRangeList &ranges,
					     guint32 level)
{
	const auto last = std::find_if(
		ranges.rbegin(), ranges.rend(), [level](const auto &range) {
			return range.lower_limit <= level &&
			       level <= range.upper_limit;
		});
	return last != ranges.rend() ? &*last : nullptr;
}

SupervisedState supervised_classify(const SupervisedRangeList &ranges,
				    guint32 level)
{
	const SupervisedRange *range = supervised_find_range(ranges, level);
	return range != nullptr ? range->state : SUPERVISED_UNDEFINED;
}

bool supervised_classify_port(IOPort *port, guint32 level,
			      SupervisedState *state, GError **error)
{
	const std::lock_guard lock(port->ranges_lock);
	SupervisedRangeList *ranges = nullptr;
	if (!io_port_get_supervised_ranges(port, &ranges)) {
		g_set_error(error, io_supervised_error_quark(),
			    IO_SUPERVISED_ERROR_NOT_SUPERVISED,
			    "Failed to get ranges from port %s",
			    port->name.value_or("").c_str());
		return false;
	}
	*state = supervised_classify(*ranges, level);
	return true;
}
