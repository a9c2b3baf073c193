#include "backends/libugpio-backend.h"

#include "backends/backend-data.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "util/assert.h"

#include <cstring>

namespace
{

constexpr const char *kGpioModule = "libugpio-backend.c";

/// What switches a configurable port's hardware.
enum IoCtrlLevel { IO_CTRL_INPUT = 0, IO_CTRL_OUTPUT = 1 };

/// The line that carries the port's state now, if it has one.
GpioPin *current_pin(const IOPort *port)
{
	const auto *data = backend::data<GpioPortData>(port);
	if (data == nullptr)
		return nullptr;
	return io_port_input(port) ? data->input_pin.get()
				   : data->output_pin.get();
}

/// Says which request failed.
bool requested(bool success, const char *call)
{
	if (!success)
		g_return_if_fail_warning(nullptr, "libugpio_port_setup", call);
	return success;
}

bool request_input(GpioPortData *data)
{
	return requested(
		libugpio_port_init_gpio_pin(data->input_pin.get(), true, false),
		"libugpio_port_init_gpio_pin (data->input_pin, TRUE, FALSE)");
}

bool request_output(GpioPortData *data, bool state)
{
	return requested(
		libugpio_port_init_gpio_pin(data->output_pin.get(), false,
					    state),
		"libugpio_port_init_gpio_pin (data->output_pin, FALSE, state)");
}

/// The lines in an order in which no output is driven against whoever drives
/// the port from outside.
bool request_configurable(GpioPortData *data, bool input, bool state)
{
	return request_input(data) &&
	       requested(libugpio_port_init_gpio_pin(data->output_pin.get(),
						     false, !input && state),
			 "libugpio_port_init_gpio_pin (data->output_pin, "
			 "FALSE, io_port_direction_input (port) ? FALSE : "
			 "state)") &&
	       requested(libugpio_port_init_gpio_pin(data->io_ctrl_pin.get(),
						     false, !input),
			 "libugpio_port_init_gpio_pin (data->io_ctrl_pin, "
			 "FALSE, io_port_direction_input (port) ? 0 : 1)");
}

void release_lines(GpioPortData *data)
{
	data->watch.stop();
	for (const GpioPinPtr *pin :
	     {&data->input_pin, &data->output_pin, &data->io_ctrl_pin})
		libugpio_close_gpio_pin(pin->get());
}

bool libugpio_port_setup(IOPort *port, int state)
{
	auto *data = backend::data<GpioPortData>(port);
	MODULE_ASSERT(kGpioModule, data != NULL);
	release_lines(data);
	switch (port->type) {
	case PORT_INPUT:
		return request_input(data);
	case PORT_OUTPUT:
		return request_output(data, state != 0);
	case PORT_IO_CTRL:
		return request_configurable(data, io_port_direction_input(port),
					    state != 0);
	}
	return true;
}

/// A line that cannot be read reads as 1; a closed port's is not known.
int libugpio_port_get_state(IOPort *port)
{
	if (port->backend_data == nullptr)
		return -1;
	return libugpio_get_gpio_pin(current_pin(port)) != 0 ? 1 : 0;
}

void libugpio_port_set_state(IOPort *port, int state)
{
	const auto *data = backend::data<GpioPortData>(port);
	GpioPin *pin = data != nullptr ? data->output_pin.get() : nullptr;
	MODULE_ASSERT(kGpioModule, pin != NULL);
	if (ugpio_set_value(pin->gpio.get(), state) == -1)
		g_warning("Failed to set state on port!\n");
}

void libugpio_port_set_watch(IOPort *port)
{
	const GpioPin *pin = current_pin(port);
	if (pin != nullptr)
		backend::data<GpioPortData>(port)->watch.start(port,
							       pin->gpio.get());
}

void switch_hardware(GpioPortData *data, IoCtrlLevel level)
{
	if (!libugpio_set_gpio_pin(data->io_ctrl_pin.get(), level))
		g_warning("Couldn't change direction on port!\n");
}

/// The output is low before the port becomes an input, and the port is an
/// output before its line is driven, inactive.
bool libugpio_port_set_direction(IOPort *port, bool input)
{
	auto *data = backend::data<GpioPortData>(port);
	if (data == nullptr)
		return false;
	data->watch.stop();
	if (input) {
		libugpio_port_set_state(port, 0);
		switch_hardware(data, IO_CTRL_INPUT);
	} else {
		switch_hardware(data, IO_CTRL_OUTPUT);
		libugpio_port_set_state(port, port->output_activelow);
	}
	return true;
}

GpioPinPtr *pin_of_group(GpioPortData *data, const char *group)
{
	if (std::strcmp(group, "input") == 0)
		return &data->input_pin;
	if (std::strcmp(group, "output") == 0)
		return &data->output_pin;
	if (std::strcmp(group, "io_ctrl") == 0)
		return &data->io_ctrl_pin;
	return nullptr;
}

bool libugpio_port_parse_data(IOPort *port, const char *group, const char *key,
			      const char *value)
{
	auto *data = backend::ensure_data<GpioPortData>(port);
	GpioPinPtr *pin = pin_of_group(data, group);
	if (pin == nullptr) {
		g_warning("Could not parse backend data!\n");
		return false;
	}
	libugpio_parse_data_pin(*pin, key, value);
	return true;
}

void libugpio_port_free(IOPort *port)
{
	if (auto *data = backend::data<GpioPortData>(port))
		release_lines(data);
	backend::free_data<GpioPortData>(port);
}

constexpr IOPortFunctions libugpio_functions = {
	.setup = libugpio_port_setup,
	.is_supervisable = nullptr,
	.set_supervised = nullptr,
	.get_supervised_ranges = nullptr,
	.set_supervised_ranges = nullptr,
	.get_supervised_readout = nullptr,
	.get_state = libugpio_port_get_state,
	.set_state = libugpio_port_set_state,
	.set_watch = libugpio_port_set_watch,
	.set_direction = libugpio_port_set_direction,
	.parse_data = libugpio_port_parse_data,
	.free = libugpio_port_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *libugpio_setup_functions(IOPort *port)
{
	backend::ensure_data<GpioPortData>(port);
	return &libugpio_functions;
}
