#pragma once

/// What the method handlers of the interfaces share. Main thread.

#include "ioport/ioport.h"

#include <span>

namespace handler
{

using Invocation = GDBusMethodInvocation;

/// The port with that number, or none. Numbers are unsigned on the bus and
/// signed in the record: 4294967295 is -1.
PortRef find_port(guint number);

/// The same, real I/O ports only.
PortRef find_ioport(guint number);

/// Saves the port's settings in the parameter file.
void save(const PortRef &port);

/// Answers the call with an error; TRUE, as what has handled a call returns.
gboolean fail(Invocation *invocation, GQuark domain, int code,
	      const char *text);

/// The handler of a method, by the signal that stands for a call.
struct Method {
	const char *signal;
	GCallback callback;
};

/// Connects the handlers to @p skeleton. They answer every call.
void connect(gpointer skeleton, std::span<const Method> methods);

} // namespace handler
