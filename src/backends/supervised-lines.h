#pragma once

/// The GPIO lines of a supervised port: what carries its state while it is not
/// supervised, and what switches its hardware between the plain and the
/// supervised path.

#include "backends/edge-watch.h"
#include "backends/libugpio-utils.h"
#include "ioport/ioport.h"

/// How a backend whose lines must all be had sets them up.
struct SupervisedSetUp {
	/// Who complains of a line that cannot be had.
	const char *function;
	/// How it calls the setting of the control lines.
	const char *control_call;
	/// The supervised path may do without a line of its own.
	bool sioctrl_is_optional = false;
	/// Keeps ioctrl at 1 on an input.
	bool pull_up = false;
};

/// The lines of one port. Main thread, except reading and driving.
class SupervisedLines
{
public:
	/// Stores an item of the elements "io_ctrl", "sio_ctrl", "input" and
	/// "output"; false for any other element.
	bool parse(const char *element, const char *attribute,
		   const char *value);

	/// Whether there is an input and an output for a configurable port,
	/// one of them for any other. False: after a warning.
	bool fit(const IOPort *port) const;

	/// Requests the lines that the port's type needs, an output with
	/// @p state, and selects the hardware's path. False, after a warning,
	/// when there are too few or too many of them, or one cannot be had or
	/// driven. A missing sioctrl that is not optional is a programming
	/// error.
	bool set_up(const IOPort *port, bool state, const SupervisedSetUp &how);

	/// The raw value of the line that carries the port's state now; -1
	/// when it cannot be read. Any thread.
	int get_state(const IOPort *port) const;
	/// Drives the output; false, perhaps after a warning, when there is
	/// none or the write failed. Any thread.
	bool set_state(const IOPort *port, int level) const;

	/// Reports the edges of the line that carries the port's state now.
	void watch_edges(IOPort *port);
	void stop_watching();

	/// Requests the line that selects the supervised path, as it is: who
	/// set the board up has made it an output. False, after a warning,
	/// when it cannot be had. A missing record is a programming error.
	bool request_sioctrl();
	/// Selects the hardware's path for what the port is now. An output is
	/// a programming error.
	/// @param pull_up Keeps ioctrl at 1 on an input.
	bool set_control_pins(const IOPort *port, bool pull_up = false) const;
	/// What a port's change of direction takes: the output is low before
	/// it is disconnected, and inactive once it is connected. Stop the
	/// watch first. False when a line could not be driven.
	bool set_direction(const IOPort *port, bool input,
			   bool pull_up = false) const;

	/// Gives the lines back and keeps what was configured.
	void release();

	/// Selects the plain path.
	GpioPinPtr ioctrl;
	/// Selects the supervised path.
	GpioPinPtr sioctrl;
	/// What is read while the port is an unsupervised input.
	GpioPinPtr input_pin;
	/// What is driven while the port is an output.
	GpioPinPtr output_pin;

private:
	GpioPin *current_pin(const IOPort *port) const;
	bool request_state_lines(const IOPort *port, bool state,
				 const SupervisedSetUp &how) const;
	bool request_control_lines(const IOPort *port,
				   const SupervisedSetUp &how);
	GpioPinPtr *pin_of_element(const char *element);

	EdgeWatch edge_watch_;
};
