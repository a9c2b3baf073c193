#include "ioport/port-list.h"

#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/log.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>

namespace
{

std::mutex io_port_list_mutex;

// Never destroyed: the ports that are parked at the end stay as they are.
PortList &io_port_list = *new PortList;
PortList &io_port_dynamic_list = *new PortList;

bool has_number(const IOPort *port)
{
	return io_port_get_property(port, "ioport") ||
	       io_port_get_property(port, "virtual");
}

PortList::iterator find_by_name(std::string_view name)
{
	return std::find_if(
		io_port_list.begin(), io_port_list.end(),
		[name](const PortRef &port) { return port->name == name; });
}

unsigned count_ioports(bool input)
{
	const PortListGuard guard;
	return static_cast<unsigned>(std::count_if(
		io_port_list.begin(), io_port_list.end(),
		[input](const PortRef &port) {
			return io_port_direction_input(port.get()) == input &&
			       io_port_get_property(port.get(), "ioport");
		}));
}

template <typename Operation> void for_each_port(Operation operation)
{
	const PortListGuard guard;
	for (const PortRef &port : io_port_list)
		operation(port.get());
}

void declare_events(IOPort *port)
{
	if (!port->enabled)
		return;
	for (const auto &event : port->events) {
		if (!io_event_declare_event(port, event.get()))
			g_warning("Could not declare event %s",
				  event->name.value_or("").c_str());
	}
}

void name_input(IOPort *port, unsigned place)
{
	if (port->input_name)
		return;
	const std::string name = port->name == "pir_detector"
					 ? "PIR sensor"
					 : "Input " + std::to_string(place);
	io_port_set_input_name(port, name.c_str());
}

void name_output(IOPort *port, unsigned place)
{
	if (port->output_name)
		return;
	const std::string name = "Output " + std::to_string(place);
	io_port_set_output_name(port, name.c_str());
}

} // namespace

void io_port_list_lock()
{
	io_port_list_mutex.lock();
}

void io_port_list_unlock()
{
	io_port_list_mutex.unlock();
}

const PortList &io_port_list_get()
{
	return io_port_list;
}

void io_port_list_add(const PortRef &port)
{
	const PortListGuard guard;
	io_port_list.push_front(port);
	update_action_registration_internal();
}

PortRef io_port_list_nth_data(unsigned n)
{
	const PortListGuard guard;
	if (n >= io_port_list.size())
		return {};
	return *std::next(io_port_list.begin(), n);
}

PortRef io_port_list_get_port_from_list(const PortList &list, int number)
{
	const auto found = std::find_if(
		list.rbegin(), list.rend(), [number](const PortRef &port) {
			return port->number == number && has_number(port.get());
		});
	return found != list.rend() ? *found : PortRef();
}

PortRef io_port_list_get_port(int number)
{
	const PortListGuard guard;
	return io_port_list_get_port_from_list(io_port_list, number);
}

PortRef io_port_list_get_dynamic_port(int number)
{
	const PortListGuard guard;
	return io_port_list_get_port_from_list(io_port_dynamic_list, number);
}

std::vector<PortRef> io_port_list_get_numbered_ports(int end)
{
	const PortListGuard guard;
	std::map<int, PortRef> by_number;
	for (const PortRef &port : io_port_list) {
		if (port->number >= 0 && port->number < end &&
		    has_number(port.get()))
			by_number[port->number] = port;
	}
	std::vector<PortRef> ports;
	for (const auto &[number, port] : by_number)
		ports.push_back(port);
	return ports;
}

std::vector<PortRef> io_port_list_get_numbered_ports()
{
	return io_port_list_get_numbered_ports(
		static_cast<int>(io_port_list_length()));
}

PortRef io_port_list_get_by_name(const char *name)
{
	const PortListGuard guard;
	const auto found = find_by_name(name);
	return found != io_port_list.end() ? *found : PortRef();
}

void io_port_list_free_by_name(const char *name)
{
	const PortListGuard guard;
	const auto found = find_by_name(name);
	if (found != io_port_list.end())
		io_port_list.erase(found);
	update_action_registration_internal();
}

unsigned io_port_list_length()
{
	const PortListGuard guard;
	return static_cast<unsigned>(io_port_list.size());
}

unsigned io_port_list_nbr_inputs()
{
	return count_ioports(true);
}

unsigned io_port_list_nbr_outputs()
{
	return count_ioports(false);
}

std::vector<int> io_port_list_get_supervised_port_numbers()
{
	std::vector<int> numbers;
	for_each_port([&numbers](IOPort *port) {
		if (io_port_is_supervisable(port))
			numbers.push_back(port->number);
	});
	return numbers;
}

void io_port_list_setup()
{
	const PortListGuard guard;
	PortList failed;
	for (auto next = io_port_list.begin(); next != io_port_list.end();) {
		const auto place = next++;
		IOPort *port = place->get();
		if (io_port_setup(port))
			continue;
		if (port->optional) {
			io_port_dynamic_list.splice(
				io_port_dynamic_list.begin(), io_port_list,
				place);
			continue;
		}
		g_log(nullptr, util::kLogLevelUser,
		      "Setup failed for port %d, removing from list",
		      port->number);
		failed.splice(failed.end(), io_port_list, place);
	}
	for (PortRef &port : failed)
		io_port_free(port.release());
	update_action_registration_internal();
}

/// A port that comes into service may be what an earlier one waited for, so
/// the walk starts again after each.
int io_port_list_setup_dynamic_ports()
{
	const PortListGuard guard;
	int count = 0;
	auto next = io_port_dynamic_list.begin();
	while (next != io_port_dynamic_list.end()) {
		const auto place = next++;
		if (!io_port_setup(place->get()))
			continue;
		io_port_list.splice(io_port_list.begin(), io_port_dynamic_list,
				    place);
		++count;
		next = io_port_dynamic_list.begin();
	}
	if (count > 0)
		update_action_registration_internal();
	return count;
}

void io_port_list_move_to_dynamic(IOPort *port)
{
	if (!port->optional)
		return;
	const PortListGuard guard;
	const auto found = std::find_if(
		io_port_list.begin(), io_port_list.end(),
		[port](const PortRef &listed) { return listed.get() == port; });
	if (found != io_port_list.end())
		io_port_dynamic_list.splice(io_port_dynamic_list.begin(),
					    io_port_list, found);
	update_action_registration_internal();
}

bool io_port_list_get_port_any_value()
{
	const PortListGuard guard;
	return std::any_of(io_port_list.begin(), io_port_list.end(),
			   [](const PortRef &port) {
				   return io_port_got_port_any(port.get()) &&
					  io_port_get_state(port.get()) != 0;
			   });
}

void io_port_list_read_params()
{
	for_each_port([](IOPort *port) { param_get_conf_vals(port); });
}

void io_port_list_set_watch()
{
	for_each_port(io_port_set_watch);
}

void io_port_list_declare_events()
{
	for_each_port(declare_events);
}

/// The counters include the ports that have names, so that a made-up name
/// always carries the port's place among its kind.
void io_port_list_update_names()
{
	unsigned inputs = 0;
	unsigned outputs = 0;
	for (const PortRef &port : io_port_list_get_numbered_ports()) {
		if (port->type != PORT_OUTPUT)
			name_input(port.get(), ++inputs);
		if (port->type != PORT_INPUT)
			name_output(port.get(), ++outputs);
	}
}

void io_port_list_free()
{
	const PortListGuard guard;
	for (PortRef &port : io_port_list)
		io_port_free(port.release());
	io_port_list.clear();
}

void update_action_registration_internal()
{
	const bool wanted = std::any_of(
		io_port_list.begin(), io_port_list.end(),
		[](const PortRef &port) {
			return port->type != PORT_INPUT &&
			       io_port_get_property(port.get(), "ioport");
		});
	actionengine_dbus_update_action_registration(wanted);
}
