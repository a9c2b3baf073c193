#include "ioport/port-settings.h"

#include "ioport/port-seam.h"
#include "ioport/port-sequence.h"
#include "ioport/port-state.h"
#include "util/assert.h"

#include <cstring>
#include <mutex>

namespace
{

/// Holds `lock` with no sequence running.
std::unique_lock<std::mutex> lock_exclusive(IOPort *port)
{
	io_port_lock_exclusive(port);
	return std::unique_lock(port->lock, std::adopt_lock);
}

/// Announces the state that the port has after one of its settings changed.
void announce_state(IOPort *port)
{
	io_port_trigger(port, io_port_get_state(port));
}

void apply_input_activelow(IOPort *port, bool activelow)
{
	port->input_activelow = activelow;
	if (!port->is_setup || !io_port_input(port))
		return;
	announce_state(port);
	orvad_g_dbus_common_emit_property_changed_signal(
		"Trig", io_port_activelow_word(activelow), port->number,
		PROPERTY_INPUT);
}

/// The line flips, so that the logical state stays.
void apply_output_activelow(IOPort *port, bool activelow)
{
	port->output_activelow = activelow;
	if (!port->is_setup || io_port_input(port))
		return;
	const bool high = port->functions->get_state(port) > 0;
	io_port_set_state_internal(port, high == activelow);
	orvad_g_dbus_common_emit_property_changed_signal(
		"Active", io_port_activelow_word(activelow), port->number,
		PROPERTY_OUTPUT);
}

void declare_applicable_events(IOPort *port)
{
	for (const auto &event : port->events) {
		if (io_event_currently_applicable(port, event.get()))
			io_event_declare_event(port, event.get());
		else
			io_event_undeclare_event(event.get());
	}
}

void apply_direction(IOPort *port, bool input)
{
	port->functions->set_direction(port, input);
	if (io_port_input(port))
		io_port_set_watch(port);
	declare_applicable_events(port);
	announce_state(port);
	orvad_g_dbus_common_emit_property_changed_signal(
		"Direction", input ? "input" : "output", port->number,
		PROPERTY_PORT);
}

/// The events are declared again, so that they carry the new name; not when a
/// configurable port is on the other side now.
void store_name(IOPort *port, std::optional<std::string> *field,
		const char *name, PropertyObject object)
{
	*field = name;
	orvad_g_dbus_common_emit_property_changed_signal("Name", name,
							 port->number, object);
	const bool other_side = port->direction != (object == PROPERTY_INPUT);
	if (port->type == PORT_IO_CTRL && other_side)
		return;
	io_port_redeclare_events(port);
}

} // namespace

const char *io_port_activelow_word(bool activelow)
{
	return activelow ? "open" : "closed";
}

std::optional<bool> io_port_parse_activelow(std::string_view word)
{
	for (const bool activelow : {false, true}) {
		if (word == io_port_activelow_word(activelow))
			return activelow;
	}
	return {};
}

bool io_port_set_direction(IOPort *ioport, bool input)
{
	MODULE_ASSERT(kPortModule, ioport);
	if (ioport->type != PORT_IO_CTRL)
		return false;
	const auto lock = lock_exclusive(ioport);
	ioport->direction = input;
	if (ioport->is_setup)
		apply_direction(ioport, input);
	return true;
}

bool io_port_get_activelow(const IOPort *ioport, bool input)
{
	MODULE_ASSERT(kPortModule, ioport);
	return input ? ioport->input_activelow : ioport->output_activelow;
}

bool io_port_set_activelow(IOPort *ioport, bool activelow, bool input)
{
	MODULE_ASSERT(kPortModule, ioport);
	if (ioport->type == (input ? PORT_OUTPUT : PORT_INPUT))
		return false;
	const auto lock = lock_exclusive(ioport);
	if (io_port_get_activelow(ioport, input) == activelow)
		return true;
	io_port_reset_event_filters(ioport);
	if (input)
		apply_input_activelow(ioport, activelow);
	else
		apply_output_activelow(ioport, activelow);
	return true;
}

void io_port_reset_event_filters(IOPort *ioport)
{
	MODULE_ASSERT_NONNULL(kPortModule, ioport);
	for (const auto &event : ioport->events)
		io_event_reset_filter(event.get());
}

bool io_port_text_fits(const char *text)
{
	return strnlen(text, kLongestText + 1) <= kLongestText;
}

void io_port_get_names(const IOPort *port,
		       std::optional<std::string> *input_name,
		       std::optional<std::string> *output_name)
{
	if (port == nullptr)
		return;
	if (port->type != PORT_OUTPUT)
		*input_name = port->input_name;
	if (port->type != PORT_INPUT)
		*output_name = port->output_name;
}

std::optional<std::string> io_port_get_name(const IOPort *ioport)
{
	if (ioport == nullptr) {
		WARN_FAILED_PRECONDITION("ioport != NULL");
		return std::nullopt;
	}
	switch (ioport->type) {
	case PORT_INPUT:
		return ioport->input_name;
	case PORT_OUTPUT:
		return ioport->output_name;
	case PORT_IO_CTRL:
		return ioport->direction ? ioport->input_name
					 : ioport->output_name;
	}
	return std::nullopt;
}

bool io_port_set_input_name(IOPort *port, const char *name)
{
	if (port == nullptr || port->type == PORT_OUTPUT ||
	    !io_port_text_fits(name))
		return false;
	if (port->input_name != name)
		store_name(port, &port->input_name, name, PROPERTY_INPUT);
	return true;
}

bool io_port_set_output_name(IOPort *port, const char *name)
{
	if (port == nullptr || port->type == PORT_INPUT ||
	    !io_port_text_fits(name))
		return false;
	if (port->output_name != name)
		store_name(port, &port->output_name, name, PROPERTY_OUTPUT);
	return true;
}

std::optional<std::string> io_port_get_usage(const IOPort *ioport)
{
	if (ioport == nullptr) {
		WARN_FAILED_PRECONDITION("ioport != NULL");
		return std::nullopt;
	}
	return ioport->usage;
}

bool io_port_set_usage(IOPort *port, const char *usage)
{
	if (port == nullptr || !io_port_text_fits(usage))
		return false;
	if (port->usage == usage)
		return true;
	port->usage = usage;
	orvad_g_dbus_common_emit_property_changed_signal(
		"Usage", usage, port->number, PROPERTY_PORT);
	return true;
}

/// A sequence must not change the state between its reading for a new
/// declaration and its sending.
void io_port_redeclare_events(IOPort *port)
{
	const auto lock = io_port_lock_between_steps(port);
	for (const auto &event : port->events)
		io_event_redeclare_port(port, event.get());
}

void io_port_set_enabled(IOPort *port, bool enabled)
{
	if (port->enabled.exchange(enabled) == enabled)
		return;
	for (const auto &event : port->events) {
		if (enabled)
			io_event_declare_event(port, event.get());
		else
			io_event_undeclare_event(event.get());
	}
}

int io_port_get_mode(const IOPort *port)
{
	return port != nullptr ? port->mode : 0;
}

bool io_port_set_mode(IOPort *port, int mode)
{
	if (mode != PORT_MODE_MONOSTABLE && mode != PORT_MODE_BISTABLE)
		return false;
	port->mode = mode;
	return true;
}

gint32 io_port_get_delay_time(const IOPort *port)
{
	return port != nullptr ? port->delay_time : -1;
}

void io_port_set_delay_time(IOPort *port, gint32 delay_time)
{
	port->delay_time = delay_time;
}

int io_port_get_reserved(const IOPort *port)
{
	return port->reserved;
}

void io_port_set_reserved(IOPort *port, int reserved)
{
	if (reserved != 0)
		port->reserved = reserved;
}

bool io_port_get_ioport(const IOPort *port)
{
	return io_port_get_property(port, "ioport");
}
