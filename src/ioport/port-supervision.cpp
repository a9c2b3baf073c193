#include "ioport/port-supervision.h"

#include "ioport/io-errors.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "util/assert.h"

#include <algorithm>

namespace
{

/// Converters give 16 bits at most.
constexpr gint32 kLimitOfLevels = 65536;

bool fail(GError **error, IOSupervisedError code, const char *text)
{
	g_set_error_literal(error, io_supervised_error_quark(), code, text);
	return false;
}

/// Limits of 2^31 and more are negative here, and pass.
bool are_valid_limits(guint32 lower, guint32 upper)
{
	const auto signed_lower = static_cast<gint32>(lower);
	const auto signed_upper = static_cast<gint32>(upper);
	return signed_lower < kLimitOfLevels && signed_upper < kLimitOfLevels &&
	       signed_lower < signed_upper;
}

bool check_range(const SupervisedRange &range, GError **error)
{
	if (!are_valid_limits(range.lower_limit, range.upper_limit))
		return fail(error, IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
			    "Invalid range.");
	if (range.state == SUPERVISED_UNDEFINED)
		return fail(error, IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
			    "State is undefined.");
	return true;
}

/// @p ranges with @p range behind the others, in place of the one of its state.
SupervisedRangeList merge(SupervisedRangeList ranges,
			  const SupervisedRange &range)
{
	const auto same = std::ranges::find_if(
		ranges, [&range](const SupervisedRange &other) {
			return range_equal(range, other) == 0;
		});
	if (same != ranges.end())
		ranges.erase(same);
	ranges.push_back(range);
	return ranges;
}

} // namespace

bool io_port_is_supervisable(IOPort *port)
{
	MODULE_ASSERT_NONNULL(kPortModule, port);
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	return port->functions->is_supervisable != nullptr &&
	       port->functions->is_supervisable(port);
}

bool io_port_supervised_input(const IOPort *port)
{
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	return io_port_input(port) && port->supervised;
}

bool io_port_set_supervised(IOPort *port, bool on)
{
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	if (!io_port_is_supervisable(port))
		return false;
	port->supervised = on;
	if (port->functions->set_supervised != nullptr)
		port->functions->set_supervised(port, on);
	if (io_port_input(port))
		io_port_set_direction(port, true);
	return true;
}

bool io_port_get_supervised_ranges(IOPort *port, SupervisedRangeList **ranges)
{
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	MODULE_ASSERT_NONNULL(kPortModule, ranges);
	if (!io_port_is_supervisable(port) ||
	    port->functions->get_supervised_ranges == nullptr)
		return false;
	*ranges = port->functions->get_supervised_ranges(port);
	return true;
}

bool io_port_set_supervised_ranges(IOPort *port, SupervisedRangeList *ranges,
				   GError **error)
{
	if (!io_port_is_supervisable(port) ||
	    port->functions->set_supervised_ranges == nullptr)
		return false;
	return port->functions->set_supervised_ranges(port, ranges, error);
}

bool io_port_add_supervised_range(IOPort *port, const char *word, guint32 lower,
				  guint32 upper, GError **error)
{
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	const SupervisedRange range = {supervised_range_string2state(word),
				       upper, lower};
	if (!check_range(range, error))
		return false;
	SupervisedRangeList *present = nullptr;
	if (!io_port_get_supervised_ranges(port, &present))
		return fail(error, IO_SUPERVISED_ERROR_GENERIC,
			    "Failed to get ranges from port.");
	SupervisedRangeList ranges = merge(*present, range);
	return io_port_set_supervised_ranges(port, &ranges, error);
}

SupervisedState io_port_get_supervised_state(IOPort *ioport)
{
	MODULE_ASSERT_NONNULL(kPortModule, ioport);
	if (!ioport->is_setup || !io_port_is_supervisable(ioport))
		return SUPERVISED_OPEN;
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	const bool success =
		io_port_get_supervised_readout(ioport, &state, &level, &error);
	const std::lock_guard lock(ioport->readout_failure.lock);
	if (success)
		ioport->readout_failure.limit.settle();
	else
		ioport->readout_failure.limit.warn(
			"Failed to read supervised state: %s.",
			error.message());
	return success ? state : SUPERVISED_UNDEFINED;
}

bool io_port_get_supervised_readout(IOPort *port, SupervisedState *state,
				    guint32 *level, GError **error)
{
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	MODULE_ASSERT_NONNULL(kPortModule, state);
	MODULE_ASSERT_NONNULL(kPortModule, level);
	if (port->functions->get_supervised_readout == nullptr) {
		g_set_error_literal(error, io_control_error_quark(),
				    IO_CONTROL_ERROR_GENERIC,
				    "Not applicable for port.");
		return false;
	}
	if (!io_port_is_supervisable(port))
		return fail(error, IO_SUPERVISED_ERROR_NOT_SUPERVISED,
			    "Port is non-supervised");
	return port->functions->get_supervised_readout(port, state, level,
						       error);
}

bool io_port_get_supported_states(const IOPort *port,
				  std::vector<std::string> *states)
{
	MODULE_ASSERT_NONNULL(kPortModule, port->functions);
	for (const SupervisedState state : {SUPERVISED_CLOSED, SUPERVISED_OPEN,
					    SUPERVISED_SHORT, SUPERVISED_CUT})
		states->push_back(supervised_range_state2string(state));
	return true;
}
