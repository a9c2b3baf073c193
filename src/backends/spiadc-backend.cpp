#include "backends/spiadc-backend.h"

#include "backends/backend-data.h"
#include "backends/parse-number.h"
#include "backends/poll.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "util/assert.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace
{

constexpr const char *kSpiadcModule = "spiadc-backend.c";

gint32 wrapping_sum(gint32 a, gint32 b)
{
	return static_cast<gint32>(static_cast<guint32>(a) +
				   static_cast<guint32>(b));
}

gint32 wrapping_negative(gint32 number)
{
	return static_cast<gint32>(0U - static_cast<guint32>(number));
}

bool is_inside(const SpiadcBand &band, gint32 level, gint32 hysteresis)
{
	return wrapping_sum(band.active_min, wrapping_negative(hysteresis)) <=
		       level &&
	       level <= wrapping_sum(band.active_max, hysteresis);
}

/// The level now; 0 when it cannot be had.
gint32 measure(SpiadcPortData *data)
{
	guint32 level = 0;
	if (data->device.measure(static_cast<guint32>(data->address), &level))
		data->transfer_error.settle();
	else
		data->transfer_error.warn("SPI_IOC_MESSAGE failed! : %s",
					  g_strerror(errno));
	return static_cast<gint32>(level);
}

gboolean spiadc_poll(gpointer user_data)
{
	auto *port = static_cast<IOPort *>(user_data);
	auto *data = backend::data<SpiadcPortData>(port);

	const gint32 level = measure(data);
	const gint32 previous = data->state;
	const bool matched = spiadc_match(data->bands, level,
					  (previous > 0) != data->inverted);
	data->state = matched != data->inverted ? 1 : 0;
	if (data->state != previous)
		io_port_trigger(port, io_port_get_state(port));
	return G_SOURCE_CONTINUE;
}

bool spiadc_port_setup(IOPort *port, int)
{
	auto *data = backend::data<SpiadcPortData>(port);
	MODULE_ASSERT(kSpiadcModule, data != NULL);
	MODULE_ASSERT(kSpiadcModule, port->type == PORT_INPUT);

	data->poll_id.reset();
	if (data->device.open(data->path, O_RDONLY))
		return true;
	g_warning("Failed to open %s: %s", data->path.c_str(),
		  g_strerror(errno));
	return false;
}

int spiadc_port_get_state(IOPort *port)
{
	const auto *data = backend::data<SpiadcPortData>(port);
	return data != nullptr && data->state > 0 ? 1 : 0;
}

void spiadc_port_set_state(IOPort *, int)
{
}

void spiadc_port_set_watch(IOPort *port)
{
	auto *data = backend::data<SpiadcPortData>(port);
	if (data != nullptr)
		backend::start_poll(data->poll_id, data->timeout, spiadc_poll,
				    port);
}

bool spiadc_port_set_direction(IOPort *, bool)
{
	return true;
}

gint32 parse_integer(const char *text)
{
	return backend::parse_int(text, backend::kAnyBase);
}

void parse_band_item(SpiadcPortData *data, const char *key, const char *value)
{
	if (data->bands.empty()) {
		g_warning("Spi ADC backend configured incorrectly");
		return;
	}
	SpiadcBand &band = data->bands.front();
	if (std::strcmp(key, "active_min") == 0)
		band.active_min = parse_integer(value);
	else if (std::strcmp(key, "active_max") == 0)
		band.active_max = parse_integer(value);
	else if (std::strcmp(key, "hysteresis") == 0)
		band.hysteresis = parse_integer(value);
}

void parse_device_item(const IOPort *port, SpiadcPortData *data,
		       const char *key, const char *value)
{
	if (std::strcmp(key, "device") == 0)
		data->path = value;
	else if (std::strcmp(key, "timeout") == 0)
		data->timeout = backend::parse_poll_interval(port, value);
	else if (std::strcmp(key, "address") == 0)
		data->address = parse_integer(value);
	else if (std::strcmp(key, "inverted") == 0)
		data->inverted = std::strcmp(value, "true") == 0;
}

bool spiadc_port_parse_data(IOPort *port, const char *group, const char *key,
			    const char *value)
{
	auto *data = backend::ensure_data<SpiadcPortData>(port);
	if (std::strcmp(group, "range") == 0) {
		data->bands.emplace_front();
	} else if (std::strcmp(group, "input") == 0) {
		parse_band_item(data, key, value);
	} else if (std::strcmp(group, "device") == 0) {
		parse_device_item(port, data, key, value);
	} else {
		g_warning("Could not parse backend data!\n");
		return false;
	}
	return true;
}

/// The record's members remove the poll and close the device.
void spiadc_port_free(IOPort *port)
{
	backend::free_data<SpiadcPortData>(port);
}

constexpr IOPortFunctions spiadc_functions = {
	.setup = spiadc_port_setup,
	.is_supervisable = nullptr,
	.set_supervised = nullptr,
	.get_supervised_ranges = nullptr,
	.set_supervised_ranges = nullptr,
	.get_supervised_readout = nullptr,
	.get_state = spiadc_port_get_state,
	.set_state = spiadc_port_set_state,
	.set_watch = spiadc_port_set_watch,
	.set_direction = spiadc_port_set_direction,
	.parse_data = spiadc_port_parse_data,
	.free = spiadc_port_free,
	.close = nullptr,
};

} // namespace

bool spiadc_match(const SpiadcBands &bands, gint32 level, bool matched)
{
	return std::ranges::any_of(bands, [&](const SpiadcBand &band) {
		return is_inside(band, level,
				 matched ? band.hysteresis
					 : wrapping_negative(band.hysteresis));
	});
}

const IOPortFunctions *spiadc_setup_functions(IOPort *port)
{
	backend::ensure_data<SpiadcPortData>(port);
	return &spiadc_functions;
}
