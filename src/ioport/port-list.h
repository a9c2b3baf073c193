#pragma once

/// The two lists of ports: those in service, newest first, and the optional
/// ones that are configured but parked. Both are guarded by one lock, which
/// every function here takes unless it says otherwise; none may be called with
/// it held. Lookups return a reference of the caller's own, or none.

#include "ioport/ioport.h"

#include <list>

using PortList = std::list<PortRef>;

void io_port_list_add(const PortRef &port);

/// The n-th port in service, 0 being the newest.
PortRef io_port_list_nth_data(unsigned n);

/// The port in service, respectively parked, with that number; of several the
/// one that was added first. Only real I/O ports and virtual ports have
/// numbers (properties "ioport" and "virtual").
PortRef io_port_list_get_port(int number);
PortRef io_port_list_get_dynamic_port(int number);

/// The same on any list; the caller holds the lock.
PortRef io_port_list_get_port_from_list(const PortList &list, int number);

/// What io_port_list_get_port() gives for each number from 0 up to, not
/// including, @p end, in that order and without the numbers that nobody has.
std::vector<PortRef> io_port_list_get_numbered_ports(int end);

/// The same up to the number of ports in service.
std::vector<PortRef> io_port_list_get_numbered_ports();

/// The newest port in service with that configuration name.
PortRef io_port_list_get_by_name(const char *name);

/// Takes the newest port of that name out of service for good.
void io_port_list_free_by_name(const char *name);

unsigned io_port_list_length();

/// Real I/O ports that are inputs, respectively outputs, now.
unsigned io_port_list_nbr_inputs();
unsigned io_port_list_nbr_outputs();

/// The numbers of all supervisable ports in service, in list order.
std::vector<int> io_port_list_get_supervised_port_numbers();

/// The ports in service. Callers hold the lock around their walk.
const PortList &io_port_list_get();
void io_port_list_lock();
void io_port_list_unlock();

/// Holds the list's lock for a walk.
class PortListGuard
{
public:
	PortListGuard()
	{
		io_port_list_lock();
	}
	~PortListGuard()
	{
		io_port_list_unlock();
	}
	PortListGuard(const PortListGuard &) = delete;
	PortListGuard &operator=(const PortListGuard &) = delete;
};

/// Sets every port up. One that fails is parked when it is optional, and
/// discarded with a log line when it is not.
void io_port_list_setup();

/// Sets the parked ports up and brings those that succeed into service;
/// returns how many did.
int io_port_list_setup_dynamic_ports();

/// Parks an optional port; any other stays in service.
void io_port_list_move_to_dynamic(IOPort *port);

/// Whether some enabled port with a "PortAny" event is active.
bool io_port_list_get_port_any_value();

/// For every port in service: read its parameters, watch it, declare its
/// events if it is enabled.
void io_port_list_read_params();
void io_port_list_set_watch();
void io_port_list_declare_events();

/// Gives default names to the ports that have none.
void io_port_list_update_names();

/// Frees every port in service; the parked ones stay.
void io_port_list_free();

/// Tells the action engine's client whether any real port can be driven. The
/// caller holds the lock.
void update_action_registration_internal();
