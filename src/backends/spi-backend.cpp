#include "backends/spi-backend.h"

#include "backends/backend-data.h"
#include "backends/parse-number.h"
#include "backends/poll.h"
#include "backends/range-parser.h"
#include "backends/supervised-backend.h"
#include "ioport/io-errors.h"
#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

namespace
{

constexpr const char *kSpiModule = "spi-backend.c";
constexpr guint8 kBitsPerWord = 16;

// ---- measuring ----

void set_readout_error(GError **error, int reason)
{
	g_set_error_literal(error, io_supervised_error_quark(),
			    IO_SUPERVISED_ERROR_GENERIC, g_strerror(reason));
}

/// One transfer. A converter that does not answer is not asked again.
bool measure(SpiPortData *data, guint32 *level, GError **error)
{
	const std::lock_guard lock(data->device_lock);
	if (data->device.measure(data->address, level)) {
		data->transfer_error.settle();
		return true;
	}
	const int reason = errno;
	data->transfer_error.warn("Error: %s", g_strerror(reason));
	data->device.close();
	set_readout_error(error, reason);
	return false;
}

bool spi_get_supervised_readout(IOPort *port, SupervisedState *state,
				guint32 *level, GError **error)
{
	*state = SUPERVISED_UNDEFINED;
	auto *data = backend::data<SpiPortData>(port);
	if (data == nullptr) {
		set_readout_error(error, EBADF);
		return false;
	}
	return measure(data, level, error) &&
	       supervised_classify_port(port, *level, state, error);
}

gboolean spi_poll(gpointer user_data)
{
	auto *port = static_cast<IOPort *>(user_data);
	auto *data = backend::data<SpiPortData>(port);

	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	if (!io_port_get_supervised_readout(port, &state, &level, &error)) {
		data->readout_error.warn("Readout failed: %s", error.message());
		return G_SOURCE_CONTINUE;
	}
	data->readout_error.settle();
	if (state != data->last_state) {
		io_port_trigger(port, static_cast<int>(state));
		data->last_state = state;
	}
	return G_SOURCE_CONTINUE;
}

// ---- plain and supervised mode ----

void start_poll(IOPort *port)
{
	auto *data = backend::data<SpiPortData>(port);
	if (data->poll_id.id() != 0)
		return;
	data->last_state = SUPERVISED_UNDEFINED;
	backend::start_poll(data->poll_id, kSpiPollInterval, spi_poll, port);
}

/// Each mode ends the other.
void watch(IOPort *port, bool supervised)
{
	auto *data = backend::data<SpiPortData>(port);
	if (supervised) {
		data->lines.stop_watching();
		start_poll(port);
	} else {
		data->lines.watch_edges(port);
		data->poll_id.reset();
	}
}

void spi_set_watch(IOPort *port)
{
	if (port->backend_data != nullptr)
		watch(port, io_port_supervised_input(port));
}

bool spi_set_supervised(IOPort *port, bool enable)
{
	const auto *data = backend::data<SpiPortData>(port);
	if (data == nullptr)
		return false;
	watch(port, enable);
	if (!io_port_input(port) && !io_port_set_direction(port, true))
		return false;
	data->lines.set_control_pins(port);
	return true;
}

bool spi_set_direction(IOPort *port, bool input)
{
	auto *data = backend::data<SpiPortData>(port);
	if (data == nullptr)
		return false;
	data->lines.stop_watching();
	data->poll_id.reset();
	return data->lines.set_direction(port, input);
}

// ---- set-up ----

/// The request alone sets an output's level.
void init_pin(GpioPin *pin, bool is_input, bool state)
{
	if (pin == nullptr)
		return;
	g_info("Init pin: %s", libugpio_alias(pin));
	libugpio_request_gpio_pin(pin, is_input, state);
}

/// Requests what the port's type needs. A line that cannot be had is warned of
/// and leaves the port without it.
void init_port_pins(const IOPort *port, const SupervisedLines &lines,
		    bool state)
{
	if (port->type != PORT_OUTPUT)
		init_pin(lines.input_pin.get(), true, false);
	if (port->type != PORT_INPUT)
		init_pin(lines.output_pin.get(), false,
			 state && !io_port_direction_input(port));
}

bool open_converter(SpiPortData *data)
{
	if (!data->device.open(data->path, O_RDWR)) {
		g_warning("Failed to open SPI device.");
		return false;
	}
	if (!data->device.set_bits_per_word(kBitsPerWord)) {
		g_warning("Failed to set bits per word.");
		return false;
	}
	if (data->speed != 0 && !data->device.set_max_speed(data->speed)) {
		g_warning("Failed to set max speed.");
		return false;
	}
	return true;
}

bool set_up_supervision(IOPort *port, SpiPortData *data)
{
	init_pin(data->lines.ioctrl.get(), false,
		 io_port_direction_input(port));
	if (!data->lines.request_sioctrl())
		return false;
	data->lines.set_control_pins(port);
	if (open_converter(data))
		return true;
	g_warning("Failed to open spi device.");
	return false;
}

void release_hardware(SpiPortData *data)
{
	data->poll_id.reset();
	data->lines.release();
	data->device.close();
}

bool spi_setup(IOPort *port, int state)
{
	auto *data = backend::data<SpiPortData>(port);
	MODULE_ASSERT(kSpiModule, data != NULL);
	release_hardware(data);
	if (!data->lines.fit(port))
		return false;
	init_port_pins(port, data->lines, state != 0);
	return port->type == PORT_OUTPUT || set_up_supervision(port, data);
}

// ---- configuration ----

/// One for all ports: the configuration has one range after the other.
RangeParser spi_ranges;

/// A text that is no number leaves the address as it was.
void parse_address(const char *text, guint32 *address)
{
	char *end = nullptr;
	g_ascii_strtoull(text, &end, backend::kHexadecimal);
	if (end != text)
		*address = backend::parse_uint(text, backend::kHexadecimal);
}

bool spi_parse_data(IOPort *port, const char *group, const char *key,
		    const char *value)
{
	auto *data = backend::ensure_data<SpiPortData>(port);
	if (data->lines.parse(group, key, value))
		return true;
	if (std::strcmp(group, "address") == 0)
		parse_address(value, &data->address);
	else if (std::strcmp(group, "device") == 0 &&
		 std::strcmp(key, "path") == 0)
		data->path = value;
	else if (std::strcmp(group, "speed") == 0 &&
		 std::strcmp(key, "value") == 0)
		data->speed = backend::parse_uint(value, backend::kAnyBase);
	else if (std::strcmp(group, "range") == 0)
		if (const auto range = spi_ranges.parse(key, value))
			add_parsed_range(port, *range);
	return true;
}

// ---- the table ----

int spi_get_state(IOPort *port)
{
	const auto *data = backend::data<SpiPortData>(port);
	return data != nullptr ? data->lines.get_state(port) : -1;
}

void spi_set_state(IOPort *port, int state)
{
	if (const auto *data = backend::data<SpiPortData>(port))
		data->lines.set_state(port, state);
}

void spi_free(IOPort *port)
{
	if (auto *data = backend::data<SpiPortData>(port))
		release_hardware(data);
	backend::free_data<SpiPortData>(port);
}

constexpr IOPortFunctions spi_functions = {
	.setup = spi_setup,
	.is_supervisable = supervised_is_supervisable,
	.set_supervised = spi_set_supervised,
	.get_supervised_ranges = supervised_get_supervised_ranges,
	.set_supervised_ranges = supervised_set_supervised_ranges,
	.get_supervised_readout = spi_get_supervised_readout,
	.get_state = spi_get_state,
	.set_state = spi_set_state,
	.set_watch = spi_set_watch,
	.set_direction = spi_set_direction,
	.parse_data = spi_parse_data,
	.free = spi_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *spi_setup_functions(IOPort *port)
{
	backend::ensure_data<SpiPortData>(port);
	return &spi_functions;
}
