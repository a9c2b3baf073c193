#pragma once

/// Backend "gpio": inputs, outputs and configurable ports on plain GPIO lines.
/// Its table call, libugpio_setup_functions(), is declared in
/// ioport/port-seam.h. Main thread, but for writing and reading a line.

#include "backends/edge-watch.h"
#include "backends/libugpio-utils.h"

/// The port's private record. Which lines there must be depends on the port's
/// type.
struct GpioPortData {
	/// The line that is read when the port is an input.
	GpioPinPtr input_pin;
	/// The line that is driven when the port is an output.
	GpioPinPtr output_pin;
	/// Configurable ports: switches the hardware to input (0) or output
	/// (1).
	GpioPinPtr io_ctrl_pin;
	EdgeWatch watch;
};
