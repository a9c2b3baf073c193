#pragma once

/// Leaves both lists empty after each test, which the process keeps otherwise.

#include "ioport/port-list.h"
#include "port-fixture.h"

/// What the action engine is told, according to whether there are outputs.
inline constexpr const char *kWanted =
	"actionengine_dbus_update_action_registration"
	"(1)";
inline constexpr const char *kUnwanted = "actionengine_dbus_update_action_"
					 "registration(0)";

class ListTest : public PortTest
{
protected:
	~ListTest() override
	{
		fake_backends::reset();
		for (const PortRef &port : listed_)
			if (auto *data = fake_backends::data(port.get()))
				data->setups_to_fail = 0;
		io_port_list_setup_dynamic_ports();
		io_port_list_free();
	}

	/// A port on the backend "full" in the static list, a real I/O port;
	/// that is not among the recorded calls.
	PortRef add_port(IOPortType type, int number, const char *name = "p")
	{
		PortRef port = make_port(type, number, name);
		io_port_add_property(port.get(), "ioport", "true");
		io_port_list_add(port);
		listed_.push_back(port);
		recorder::reset();
		return port;
	}

	PortRef add_optional(const char *name, int setups_to_fail)
	{
		PortRef port = add_port(PORT_INPUT, 0, name);
		port->optional = true;
		fake_backends::data(port.get())->setups_to_fail =
			setups_to_fail;
		return port;
	}

	/// The names of the ports in service, from the head of the list.
	static std::vector<std::string> names()
	{
		const PortListGuard guard;
		std::vector<std::string> result;
		for (const PortRef &port : io_port_list_get())
			result.push_back(recorder::name_of(port.get()));
		return result;
	}

private:
	std::vector<PortRef> listed_;
};
