#pragma once

/// GPIO lines that a port uses: as its input or output, or to switch its
/// hardware. Main thread, except writing and reading a line.

#include <glib.h>
#include <ugpio.h>

#include <memory>
#include <optional>
#include <string>

/// Closes a requested line and gives it back.
struct UgpioDeleter {
	void operator()(ugpio_t *gpio) const
	{
		ugpio_close(gpio);
		ugpio_free(gpio);
	}
};
using UgpioPtr = std::unique_ptr<ugpio_t, UgpioDeleter>;

/// One GPIO line, as configured and as requested.
struct GpioPin {
	/// Not 0: the line is active-low.
	gint32 inverted = 0;
	/// The line's name; it is requested by that name rather than by
	/// number.
	std::optional<std::string> alias;
	/// The line's number.
	gint32 pin = 0;
	/// The requested line, from its request until it is closed. One whose
	/// request failed half-way stays here until then.
	UgpioPtr gpio;
};
using GpioPinPtr = std::unique_ptr<GpioPin>;

/// Stores one configuration item, "pin", "alias" or "inverted", in @p pin,
/// making the record when there is none. Any other key is ignored.
void libugpio_parse_data_pin(GpioPinPtr &pin, const char *key,
			     const char *value);

/// The line's name for messages; "(null)" for one that has a number only.
const char *libugpio_alias(const GpioPin *pin);

/// Requests the line: as an input that shows both edges, or as an output that
/// starts with @p state, which an active-low line inverts. False, after a
/// warning, when the line cannot be had; false, too, without a record.
bool libugpio_request_gpio_pin(GpioPin *pin, bool is_input, bool state);

/// The same, and writes an output's first level once more.
bool libugpio_port_init_gpio_pin(GpioPin *pin, bool is_input, bool state);

/// Requests the line and leaves its direction as it is. False, after a warning,
/// when it cannot be had. A missing record is a programming error.
/// @param label whose line it is.
bool libugpio_request_gpio_pin_as_it_is(GpioPin *pin, const char *label);

/// Writes 0 or 1 to the line. False, after a warning, when that failed. A
/// missing record is a programming error. Any thread.
bool libugpio_set_gpio_pin(GpioPin *pin, int value);

/// The line's value, 0 or 1; -1 when it cannot be read, also without a record
/// and while the line is not requested. Any thread.
int libugpio_get_gpio_pin(const GpioPin *pin);

/// Gives the line back and keeps the record; null is ignored.
void libugpio_close_gpio_pin(GpioPin *pin);

/// As libugpio_close_gpio_pin(), and drops the record.
void libugpio_free_gpio_pin(GpioPinPtr &pin);
