#include "ioport/port-state.h"

#include "ioport/port-seam.h"
#include "ioport/port-sequence.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"

#include <algorithm>

namespace
{

bool relevant_activelow(const IOPort *port)
{
	return io_port_input(port) ? port->input_activelow
				   : port->output_activelow;
}

void announce(IOPort *port, bool virtual_trig, int state)
{
	io_port_send_events(port, state);
	io_port_send_signal(port, virtual_trig, state);
}

bool event_applies(const IOPort *port, const IOEvent &event)
{
	if (event.for_supervised && io_port_supervised_input(port))
		return true;
	return io_port_input(port) ? event.for_input : event.for_output;
}

} // namespace

bool io_port_input(const IOPort *port)
{
	MODULE_ASSERT(kPortModule, port->functions != NULL);
	return port->type == PORT_INPUT ||
	       (port->type == PORT_IO_CTRL && port->direction);
}

bool io_port_direction_input(const IOPort *ioport)
{
	MODULE_ASSERT(kPortModule, ioport);
	switch (ioport->type) {
	case PORT_INPUT:
		return true;
	case PORT_OUTPUT:
		return false;
	case PORT_IO_CTRL:
		return ioport->direction;
	}
	MODULE_ASSERT_NOT_REACHED(kPortModule);
}

int io_port_get_state(IOPort *ioport)
{
	MODULE_ASSERT(kPortModule, ioport);
	if (!ioport->is_setup)
		return 0;
	const int level = ioport->functions->get_state(ioport);
	if (level != 0 && level != 1)
		return 0;
	return level ^ static_cast<int>(relevant_activelow(ioport));
}

bool io_port_set_state(IOPort *ioport, int state)
{
	MODULE_ASSERT_NONNULL(kPortModule, ioport);
	if (io_port_input(ioport) || ioport->backend == BACKEND_VIRTUAL ||
	    !ioport->is_setup) {
		g_warning("Set state on incorrect port");
		return false;
	}
	const auto lock = io_port_lock_between_steps(ioport);
	io_port_set_state_internal(ioport, state);
	return true;
}

void io_port_set_state_internal(IOPort *ioport, int state)
{
	if (ioport == nullptr) {
		WARN_FAILED_PRECONDITION("ioport != NULL");
		return;
	}
	const int before = io_port_get_state(ioport);
	const bool level = (state != 0) != ioport->output_activelow;
	ioport->functions->set_state(ioport, level);
	const int after = io_port_get_state(ioport);
	if (after == before || !ioport->enabled)
		return;
	io_port_send_events(ioport, after);
	io_port_send_signal(ioport, false, io_port_get_state(ioport));
}

bool io_port_set_virtual(IOPort *ioport, int state)
{
	MODULE_ASSERT(kPortModule, ioport);
	if (!ioport->enabled)
		return true;
	if (ioport->type == PORT_OUTPUT && ioport->backend == BACKEND_VIRTUAL)
		ioport->functions->set_state(ioport, state);
	announce(ioport, true, state);
	return true;
}

void io_port_trigger(IOPort *port, int state)
{
	if (port->enabled)
		announce(port, false, state);
}

void io_port_send_events(IOPort *port, int state)
{
	for (const auto &event : port->events) {
		if (event_applies(port, *event))
			io_event_send_event(port, event.get(), state);
	}
}

void io_port_send_signal(IOPort *port, bool virtual_trig, int state)
{
	if (!port->enabled)
		return;
	MODULE_ASSERT(kPortModule, port->functions != NULL);
	iocontrol_emit_port_changed(
		port->number, io_port_get_property(port, "virtual"),
		io_port_get_property(port, "hidden"), io_port_input(port),
		virtual_trig, state != 0, relevant_activelow(port));
}

void io_port_set_watch(IOPort *port)
{
	MODULE_ASSERT(kPortModule, port != NULL);
	if (port->enabled && io_port_input(port))
		port->functions->set_watch(port);
}

bool io_port_got_port_any(const IOPort *port)
{
	MODULE_ASSERT(kPortModule, port != NULL);
	return port->enabled &&
	       std::any_of(port->events.begin(), port->events.end(),
			   [](const auto &event) {
				   return event->name == "PortAny";
			   });
}
