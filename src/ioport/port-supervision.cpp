#include "ioport/port-supervision.h"

#include "ioport/io-errors.h"
#include "ioport/port-state.h"
#include "util/assert.h"

namespace
{

constexpr const char *kModule = "ioport.c";

} // namespace

bool io_port_is_supervisable(IOPort *port)
{
	MODULE_ASSERT_NONNULL(kModule, port);
	MODULE_ASSERT_NONNULL(kModule, port->functions);
	return port->functions->is_supervisable != nullptr &&
	       port->functions->is_supervisable(port);
}

bool io_port_supervised_input(const IOPort *port)
{
	MODULE_ASSERT_NONNULL(kModule, port->functions);
	return io_port_input(port) && port->supervised;
}

bool io_port_get_supervised_ranges(IOPort *port, SupervisedRangeList **ranges)
{
	MODULE_ASSERT_NONNULL(kModule, port->functions);
	MODULE_ASSERT_NONNULL(kModule, ranges);
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

SupervisedState io_port_get_supervised_state(IOPort *ioport)
{
	MODULE_ASSERT_NONNULL(kModule, ioport);
	if (!ioport->is_setup || !io_port_is_supervisable(ioport))
		return SUPERVISED_OPEN;
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	if (!io_port_get_supervised_readout(ioport, &state, &level, &error)) {
		g_warning("Failed to read supervised state: %s.",
			  error.message());
		return SUPERVISED_UNDEFINED;
	}
	return state;
}

bool io_port_get_supervised_readout(IOPort *port, SupervisedState *state,
				    guint32 *level, GError **error)
{
	MODULE_ASSERT_NONNULL(kModule, port->functions);
	MODULE_ASSERT_NONNULL(kModule, state);
	MODULE_ASSERT_NONNULL(kModule, level);
	if (port->functions->get_supervised_readout == nullptr) {
		g_set_error_literal(error, io_control_error_quark(),
				    IO_CONTROL_ERROR_GENERIC,
				    "Not applicable for port.");
		return false;
	}
	if (!io_port_is_supervisable(port)) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_NOT_SUPERVISED,
				    "Port is non-supervised");
		return false;
	}
	return port->functions->get_supervised_readout(port, state, level,
						       error);
}

bool io_port_get_supported_states(const IOPort *port,
				  std::vector<std::string> *states)
{
	MODULE_ASSERT_NONNULL(kModule, port->functions);
	for (const SupervisedState state : {SUPERVISED_CLOSED, SUPERVISED_OPEN,
					    SUPERVISED_SHORT, SUPERVISED_CUT})
		states->push_back(supervised_range_state2string(state));
	return true;
}
