#include "backends/virtual-backend.h"

#include "backends/backend-data.h"
#include "ioport/port-seam.h"

namespace
{

bool virtual_setup(IOPort *, int)
{
	return true;
}

int virtual_get_state(IOPort *port)
{
	const auto *data = backend::data<VirtualPortData>(port);
	return data != nullptr && data->level != 0 ? 1 : 0;
}

void virtual_set_state(IOPort *port, int level)
{
	if (auto *data = backend::data<VirtualPortData>(port))
		data->level = static_cast<unsigned>(level);
}

/// A change is reported by the software that made it.
void virtual_set_watch(IOPort *)
{
}

bool virtual_set_direction(IOPort *, bool)
{
	return true;
}

bool virtual_parse_data(IOPort *, const char *, const char *, const char *)
{
	return true;
}

void virtual_free(IOPort *port)
{
	backend::free_data<VirtualPortData>(port);
}

constexpr IOPortFunctions virtual_functions = {
	.setup = virtual_setup,
	.is_supervisable = nullptr,
	.set_supervised = nullptr,
	.get_supervised_ranges = nullptr,
	.set_supervised_ranges = nullptr,
	.get_supervised_readout = nullptr,
	.get_state = virtual_get_state,
	.set_state = virtual_set_state,
	.set_watch = virtual_set_watch,
	.set_direction = virtual_set_direction,
	.parse_data = virtual_parse_data,
	.free = virtual_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *virtual_setup_functions(IOPort *port)
{
	backend::ensure_data<VirtualPortData>(port);
	return &virtual_functions;
}
