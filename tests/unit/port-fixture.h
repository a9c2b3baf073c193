#pragma once

/// What the tests of the port model share: ports on the recording backend
/// "full", and the announcements that are expected of them.

#include "fakes/fake-backends.h"
#include "fakes/fake-events.h"
#include "fakes/recorder.h"
#include "ioport/ioport.h"

#include <gmock/gmock.h>

/// Starts each test with nothing recorded and obliging fakes.
class PortTest : public testing::Test
{
protected:
	PortTest()
	{
		recorder::reset();
		fake_backends::reset();
		fake_events::set_declare_result(true);
	}
};

inline PortRef new_port()
{
	return PortRef::adopt(io_port_new());
}

/// A new port "p", bound to the backend "full" but not set up.
inline PortRef make_port(IOPortType type, int number = 1,
			 const char *name = "p")
{
	PortRef port = new_port();
	port->type = type;
	port->direction = type != PORT_OUTPUT;
	port->number = number;
	port->name = name;
	port->backend = BACKEND_SPI;
	fake_backends::bind_full(port.get());
	return port;
}

/// The same, set up; that is not among the recorded calls.
inline PortRef make_set_up_port(IOPortType type, int number = 1,
				const char *name = "p")
{
	PortRef port = make_port(type, number, name);
	EXPECT_TRUE(io_port_setup(port.get()));
	recorder::reset();
	return port;
}

/// An output in memory, as manual triggers are.
inline PortRef make_virtual_output()
{
	PortRef port = new_port();
	port->type = PORT_OUTPUT;
	port->direction = false;
	port->number = 5;
	port->name = "v";
	io_port_set_backend(port.get(), BACKEND_VIRTUAL);
	EXPECT_TRUE(io_port_setup(port.get()));
	recorder::reset();
	return port;
}

/// Adds an event for inputs and outputs in front of the port's events.
inline IOEvent *add_event(const PortRef &port, const char *name)
{
	port->events.emplace_front(new IOEvent);
	IOEvent *event = port->events.front().get();
	event->name = name;
	return event;
}

/// The line's level behind a port on a fake backend.
inline std::atomic<int> &level_of(const PortRef &port)
{
	return fake_backends::data(port.get())->level;
}

/// Gives the port a table of its own, that of its backend to begin with.
inline void use_table(const PortRef &port, IOPortFunctions *table)
{
	*table = *port->functions;
	port->functions = table;
}

/// What PortChanged is to carry.
struct PortChange {
	int number = 1;
	bool virtual_port = false;
	bool hidden = false;
	bool input = false;
	bool virtual_trig = false;
	bool state = false;
	bool activelow = false;
};

/// The recorded line of that announcement.
inline std::string port_changed(const PortChange &change)
{
	const util::CharPtr line(g_strdup_printf(
		"iocontrol_emit_port_changed(%d, virtual=%d, hidden=%d, "
		"input=%d, virtual_trig=%d, state=%d, activelow=%d)",
		change.number, change.virtual_port, change.hidden, change.input,
		change.virtual_trig, change.state, change.activelow));
	return line.get();
}
