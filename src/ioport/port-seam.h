#pragma once

/// Everything that the port model asks of the floors above it: they define
/// these functions, and a unit test defines recording fakes of them. Nothing
/// else in this folder reaches up.
///
/// The list's lock may be held by the caller of any of these, so none of them
/// may look a port up, nor wait for the main loop.

#include "ioport/ioport.h"

// ---- backends/ ----
//
// Each returns its backend's table and, those that take a port, gives the port
// a zeroed private record when it has none.

const IOPortFunctions *virtual_setup_functions(IOPort *port);
const IOPortFunctions *libugpio_setup_functions(IOPort *port);
const IOPortFunctions *spiadc_setup_functions(IOPort *port);
const IOPortFunctions *spi_setup_functions(IOPort *port);
const IOPortFunctions *iio_setup_functions();
const IOPortFunctions *iio_int_setup_functions();
const IOPortFunctions *sysfs_setup_functions(IOPort *port);
const IOPortFunctions *iobox_setup_functions(IOPort *port);
const IOPortFunctions *null_setup_functions();
const IOPortFunctions *check_setup_functions(IOPort *port);

// ---- events/ ----

/// Whether the event applies to what the port is now.
bool io_event_currently_applicable(const IOPort *port, const IOEvent *event);

/// Declares the event, unless it is declared or does not apply now; true
/// always. Resets the event's filter. Main thread.
bool io_event_declare_event(IOPort *port, IOEvent *event);

/// Withdraws the event; null and "PortAny" are left alone. Main thread.
void io_event_undeclare_event(IOEvent *event);

/// Withdraws the event and declares it again, "PortAny" excepted.
void io_event_redeclare_port(IOPort *port, IOEvent *event);

/// The next value is sent even if it equals the last one. Any thread.
void io_event_reset_filter(IOEvent *event);

/// Sends the event for @p state; true when it was sent. Any thread.
bool io_event_send_event(IOPort *port, IOEvent *event, int state);

/// Withdraws the event and frees it; null is ignored.
void io_event_free(IOEvent *event);

/// Remembers whether the action templates are wanted, and tells the engine.
void actionengine_dbus_update_action_registration(bool wanted);

// ---- params/ ----

/// Copies the port's saved values from the open parameter file into the port.
bool param_get_conf_vals(IOPort *port);

// ---- dbus/ ----

/// Emit the signals of the State interface. Any thread.
void iocontrol_emit_port_changed(int number, bool virtual_port, bool hidden,
				 bool input, bool virtual_trig, bool state,
				 bool activelow);
void iocontrol_emit_action_sequence_done(int number);

/// Waits until the bus has taken what has been announced so far, but no longer
/// than a second. Returns at once without a bus. Any thread, no lock held.
void iocontrol_wait_for_bus();

/// Which of a port's objects a property belongs to.
enum PropertyObject {
	PROPERTY_INPUT = 0,
	PROPERTY_OUTPUT = 1,
	PROPERTY_PORT = 2,
};

/// Announces a changed setting on the older configuration objects.
void orvad_g_dbus_common_emit_property_changed_signal(const char *property,
						      const char *value,
						      int number,
						      PropertyObject object);
