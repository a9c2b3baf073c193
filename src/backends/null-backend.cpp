#include "backends/null-backend.h"

namespace
{

bool null_port_setup(IOPort *, int)
{
	return true;
}

int null_port_get_state(IOPort *)
{
	return 0;
}

void null_port_set_state(IOPort *, int)
{
}

void null_port_set_watch(IOPort *)
{
}

bool null_port_set_direction(IOPort *, bool)
{
	return true;
}

bool null_port_parse_data(IOPort *, const char *, const char *, const char *)
{
	return true;
}

void null_port_free(IOPort *)
{
}

constexpr IOPortFunctions null_functions = {
	.setup = null_port_setup,
	.is_supervisable = nullptr,
	.set_supervised = nullptr,
	.get_supervised_ranges = nullptr,
	.set_supervised_ranges = nullptr,
	.get_supervised_readout = nullptr,
	.get_state = null_port_get_state,
	.set_state = null_port_set_state,
	.set_watch = null_port_set_watch,
	.set_direction = null_port_set_direction,
	.parse_data = null_port_parse_data,
	.free = null_port_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *null_setup_functions()
{
	return &null_functions;
}
