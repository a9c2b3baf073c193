#include "backends/supervised-lines.h"

#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"

#include <cstring>

namespace
{

constexpr const char *kSupervisedLinesModule = "supervised-lines.c";

/// What the two control lines are set to.
struct ControlLevels {
	bool ioctrl = false;
	bool sioctrl = false;
};

ControlLevels control_levels(const IOPort *port, bool pull_up)
{
	if (!io_port_input(port))
		return {};
	const bool supervised = io_port_supervised_input(port);
	return {pull_up || !supervised, supervised};
}

/// Says which request failed.
bool requested(bool success, const SupervisedSetUp &how, const char *call)
{
	if (!success)
		g_return_if_fail_warning(nullptr, how.function, call);
	return success;
}

} // namespace

GpioPinPtr *SupervisedLines::pin_of_element(const char *element)
{
	if (std::strcmp(element, "io_ctrl") == 0)
		return &ioctrl;
	if (std::strcmp(element, "sio_ctrl") == 0)
		return &sioctrl;
	if (std::strcmp(element, "input") == 0)
		return &input_pin;
	if (std::strcmp(element, "output") == 0)
		return &output_pin;
	return nullptr;
}

bool SupervisedLines::parse(const char *element, const char *attribute,
			    const char *value)
{
	GpioPinPtr *pin = pin_of_element(element);
	if (pin == nullptr)
		return false;
	libugpio_parse_data_pin(*pin, attribute, value);
	return true;
}

bool SupervisedLines::fit(const IOPort *port) const
{
	if (port->type == PORT_IO_CTRL) {
		if (input_pin && output_pin)
			return true;
		g_warning("Supervised IO port should have both 'input' and "
			  "'output' pins.");
		return false;
	}
	if (!input_pin != !output_pin)
		return true;
	g_warning("Limited IO port should only have either 'input' or "
		  "'output' pin.");
	return false;
}

GpioPin *SupervisedLines::current_pin(const IOPort *port) const
{
	return io_port_input(port) ? input_pin.get() : output_pin.get();
}

bool SupervisedLines::request_state_lines(const IOPort *port, bool state,
					  const SupervisedSetUp &how) const
{
	if (port->type != PORT_OUTPUT &&
	    !requested(
		    libugpio_port_init_gpio_pin(input_pin.get(), true, false),
		    how,
		    "libugpio_port_init_gpio_pin (data->input, TRUE, FALSE)"))
		return false;
	const bool input = io_port_direction_input(port);
	return port->type == PORT_INPUT ||
	       requested(libugpio_port_init_gpio_pin(output_pin.get(), false,
						     !input && state),
			 how,
			 "libugpio_port_init_gpio_pin (data->output, FALSE, "
			 "io_port_direction_input (port) ? FALSE : state)");
}

bool SupervisedLines::request_control_lines(const IOPort *port,
					    const SupervisedSetUp &how)
{
	if (!requested(
		    libugpio_port_init_gpio_pin(ioctrl.get(), false,
						io_port_direction_input(port)),
		    how,
		    "libugpio_port_init_gpio_pin (data->ioctrl, FALSE, "
		    "io_port_direction_input (port) ? 1 : 0)"))
		return false;
	const bool has_none = how.sioctrl_is_optional && !sioctrl;
	return (has_none || request_sioctrl()) &&
	       requested(set_control_pins(port, how.pull_up), how,
			 how.control_call);
}

bool SupervisedLines::set_up(const IOPort *port, bool state,
			     const SupervisedSetUp &how)
{
	return fit(port) && request_state_lines(port, state, how) &&
	       (port->type == PORT_OUTPUT || request_control_lines(port, how));
}

int SupervisedLines::get_state(const IOPort *port) const
{
	return libugpio_get_gpio_pin(current_pin(port));
}

bool SupervisedLines::set_state(const IOPort *port, int level) const
{
	return port->type != PORT_INPUT && output_pin &&
	       libugpio_set_gpio_pin(output_pin.get(), level);
}

void SupervisedLines::watch_edges(IOPort *port)
{
	if (const GpioPin *pin = current_pin(port))
		edge_watch_.start(port, pin->gpio.get());
}

void SupervisedLines::stop_watching()
{
	edge_watch_.stop();
}

/// The assertion is known by these words.
bool SupervisedLines::request_sioctrl()
{
	const SupervisedLines *data = this;
	MODULE_ASSERT(kSupervisedLinesModule, data->sioctrl != NULL);
	return libugpio_request_gpio_pin_as_it_is(sioctrl.get(), "sioctrl");
}

bool SupervisedLines::set_control_pins(const IOPort *port, bool pull_up) const
{
	if (port->type != PORT_IO_CTRL)
		MODULE_ASSERT(kSupervisedLinesModule, port->type == PORT_INPUT);
	const ControlLevels levels = control_levels(port, pull_up);
	if (!libugpio_set_gpio_pin(ioctrl.get(), levels.ioctrl)) {
		g_warning("Failed to set ioctrl pin");
		return false;
	}
	if (sioctrl && !libugpio_set_gpio_pin(sioctrl.get(), levels.sioctrl)) {
		g_warning("Failed to set sioctrl pin");
		return false;
	}
	return true;
}

bool SupervisedLines::set_direction(const IOPort *port, bool input,
				    bool pull_up) const
{
	if (input) {
		set_state(port, 0);
		return set_control_pins(port, pull_up);
	}
	set_control_pins(port, pull_up);
	return set_state(port, port->output_activelow);
}

void SupervisedLines::release()
{
	stop_watching();
	for (const GpioPinPtr *pin :
	     {&ioctrl, &sioctrl, &input_pin, &output_pin})
		libugpio_close_gpio_pin(pin->get());
}
