#include "backends/check-backend.h"

#include "backends/backend-data.h"
#include "ioport/port-seam.h"

#include <algorithm>

namespace
{

bool asks_for_failure(const BackendItem &item)
{
	return item.attribute == "setup" && item.value == "fail";
}

bool check_setup(IOPort *port, int)
{
	auto *data = backend::data<CheckPortData>(port);
	if (data == nullptr)
		return false;
	data->setup_ok = std::ranges::none_of(data->items, asks_for_failure);
	return data->setup_ok;
}

int check_get_state(IOPort *port)
{
	const auto *data = backend::data<CheckPortData>(port);
	return data != nullptr ? data->level.load() : 0;
}

void check_set_state(IOPort *port, int level)
{
	if (auto *data = backend::data<CheckPortData>(port))
		data->level = level;
}

void check_set_watch(IOPort *port)
{
	if (auto *data = backend::data<CheckPortData>(port))
		data->watched = true;
}

bool check_set_direction(IOPort *port, bool input)
{
	auto *data = backend::data<CheckPortData>(port);
	if (data == nullptr)
		return false;
	data->direction = input ? 1 : 0;
	return true;
}

bool check_parse_data(IOPort *port, const char *element, const char *attribute,
		      const char *value)
{
	auto *data = backend::data<CheckPortData>(port);
	if (data == nullptr)
		return false;
	data->items.push_front({element, attribute, value});
	return true;
}

void check_free(IOPort *port)
{
	backend::free_data<CheckPortData>(port);
}

constexpr IOPortFunctions check_functions = {
	.setup = check_setup,
	.is_supervisable = nullptr,
	.set_supervised = nullptr,
	.get_supervised_ranges = nullptr,
	.set_supervised_ranges = nullptr,
	.get_supervised_readout = nullptr,
	.get_state = check_get_state,
	.set_state = check_set_state,
	.set_watch = check_set_watch,
	.set_direction = check_set_direction,
	.parse_data = check_parse_data,
	.free = check_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *check_setup_functions(IOPort *port)
{
	backend::ensure_data<CheckPortData>(port);
	return &check_functions;
}
