#include "backends/libugpio-utils.h"

#include "util/assert.h"

#include <cerrno>
#include <cstring>

namespace
{

constexpr const char *kGpioUtilsModule = "libugpio-utils.c";

/// What the library is asked for. Its header need not name the bits.
enum RequestFlags : unsigned {
	/// An input that shows both edges.
	REQUEST_INPUT = 0x14D,
	REQUEST_OUTPUT = 0x40,
	/// Of an output: starts high.
	REQUEST_HIGH = 0x2,
};

unsigned request_flags(const GpioPin *pin, bool is_input, bool state)
{
	if (is_input)
		return REQUEST_INPUT;
	const bool high = state != (pin->inverted != 0);
	return high ? REQUEST_OUTPUT | REQUEST_HIGH : REQUEST_OUTPUT;
}

bool request(GpioPin *pin, unsigned flags)
{
	libugpio_close_gpio_pin(pin);
	pin->gpio.reset(
		pin->alias ? ugpio_request_one_named(pin->alias->c_str(), flags)
			   : ugpio_request_one(static_cast<unsigned>(pin->pin),
					       flags, "pin"));
	if (!pin->gpio)
		g_warning("Failed to allocate pin %d/%s", pin->pin,
			  libugpio_alias(pin));
	return pin->gpio != nullptr;
}

bool apply_inversion(const GpioPin *pin)
{
	if (ugpio_set_activelow(pin->gpio.get(), pin->inverted != 0) == 0)
		return true;
	g_warning("Failed set active low!");
	return false;
}

} // namespace

const char *libugpio_alias(const GpioPin *pin)
{
	return pin->alias ? pin->alias->c_str() : "(null)";
}

void libugpio_parse_data_pin(GpioPinPtr &pin, const char *key,
			     const char *value)
{
	constexpr unsigned kDecimal = 10;
	if (!pin)
		pin = std::make_unique<GpioPin>();
	if (std::strcmp(key, "pin") == 0)
		pin->pin = static_cast<gint32>(
			g_ascii_strtoll(value, nullptr, kDecimal));
	else if (std::strcmp(key, "alias") == 0)
		pin->alias = value;
	else if (std::strcmp(key, "inverted") == 0)
		pin->inverted = std::strcmp(value, "true") == 0;
}

bool libugpio_request_gpio_pin(GpioPin *pin, bool is_input, bool state)
{
	if (pin == nullptr ||
	    !request(pin, request_flags(pin, is_input, state)))
		return false;
	if (ugpio_full_open(pin->gpio.get()) == -1) {
		g_warning("Failed to open pin fd!");
		return false;
	}
	return apply_inversion(pin);
}

/// An output's level is written once more after the request: an active-low
/// line means it the other way round only now.
bool libugpio_port_init_gpio_pin(GpioPin *pin, bool is_input, bool state)
{
	if (!libugpio_request_gpio_pin(pin, is_input, state))
		return false;
	const unsigned flags = request_flags(pin, is_input, state);
	if (!is_input &&
	    ugpio_set_value(pin->gpio.get(), (flags & REQUEST_HIGH) != 0) == -1)
		g_warning("Failed to set state on port!\n");
	return true;
}

bool libugpio_request_gpio_pin_as_it_is(GpioPin *pin, const char *label)
{
	MODULE_ASSERT(kGpioUtilsModule, pin != NULL);
	libugpio_close_gpio_pin(pin);
	pin->gpio.reset(pin->alias
				? ugpio_request_named(pin->alias->c_str())
				: ugpio_request(static_cast<unsigned>(pin->pin),
						label));
	if (!pin->gpio) {
		g_warning("Request for gpio pin %s failed.",
			  libugpio_alias(pin));
		return false;
	}
	if (ugpio_full_open(pin->gpio.get()) == -1) {
		g_warning("Failed to open gpio pin %s\n", libugpio_alias(pin));
		return false;
	}
	return apply_inversion(pin);
}

bool libugpio_set_gpio_pin(GpioPin *pin, int value)
{
	MODULE_ASSERT(kGpioUtilsModule, pin != NULL);
	errno = 0;
	if (ugpio_set_value(pin->gpio.get(), value) != -1)
		return true;
	g_warning("Failed to set gpio pin %s: %s", libugpio_alias(pin),
		  g_strerror(errno));
	return false;
}

int libugpio_get_gpio_pin(const GpioPin *pin)
{
	return pin != nullptr ? ugpio_get_value(pin->gpio.get()) : -1;
}

void libugpio_close_gpio_pin(GpioPin *pin)
{
	if (pin != nullptr)
		pin->gpio.reset();
}

void libugpio_free_gpio_pin(GpioPinPtr &pin)
{
	pin.reset();
}
