#pragma once

/// The system bus and the daemon on it.

#include "iocontrol-state-glue.h"
#include "port.h"
#include "util/glib-ptr.h"

#include <functional>
#include <sys/types.h>

namespace orvadctl
{

constexpr const char *STATE_NAME = "com.vexa.IOControl.State";
constexpr const char *STATE_PATH = "/com/vexa/IOControl/State";

using ConnectionPtr = util::ObjectPtr<GDBusConnection>;
using StatePtr = util::ObjectPtr<IOControlState>;

/// Connects to the system bus. The process survives the loss of the bus.
ConnectionPtr open_bus(GError **error);

/// The daemon's interface, whether the daemon runs or not; that shows at the
/// first call. Answers and signals of another type than the interface's are
/// refused by the proxy.
/// @param timeout_ms how long each call may take.
StatePtr open_daemon(gint timeout_ms, GError **error);

/// The daemon's ports, in its order.
bool fetch_ports(IOControlState *daemon, std::vector<Port> &ports,
		 GError **error);

/// Turns the error of a D-Bus call into a sentence for the user: the daemon's
/// own text as it is, and for a missing daemon, bus, answer or right what to
/// do about it.
void explain_call_error(GError **error);
/// The same, saying first which port it is about.
void explain_port_error(GError **error, const Port &port);
/// The same for a program that has found the daemon and now called another
/// interface of it, which may be missing.
/// @param what what that interface serves: "supervised inputs".
void explain_interface_error(GError **error, const char *what);

/// What that user is to do about a call that the bus has denied. Root may call
/// everything, once the bus has read the daemon's policy.
const char *denied_advice(uid_t user);

/// Whether the error of a call says that nobody has the service's name.
bool says_service_missing(const GError *error);
/// Whether it says that the service is not there (any more).
bool says_service_gone(const GError *error);
/// Whether it says that the service or what was asked of it is not there.
bool says_not_served(const GError *error);
/// Whether it says that the answer took longer than it may.
bool says_no_answer(const GError *error);
/// Whether it is the answer of that D-Bus name.
bool says(const GError *error, const char *name);
/// The name when the State interface has no such port.
constexpr const char *NO_PORT_ERROR = "com.vexa.IOControl.Error.No_port";
/// Whether it says that the service is there, but not what was asked of it: it
/// is just starting or ending.
bool says_object_missing(const GError *error);

/// Whether a signal's or an answer's arguments have that type; otherwise one
/// line on standard error tells what was ignored.
/// @param what the signal's or method's name.
bool check_arguments(GVariant *arguments, const char *type, const char *what);

/// A subscription to D-Bus signals, for as long as the object lives. The
/// handler runs in the default main context.
class Subscription
{
public:
	/// @param path, signal empty: every one.
	Subscription(GDBusConnection *connection, const char *sender,
		     const char *interface, const char *path,
		     const char *signal, GDBusSignalCallback handler,
		     gpointer user_data);
	~Subscription();
	Subscription(const Subscription &) = delete;
	Subscription &operator=(const Subscription &) = delete;

private:
	GDBusConnection *connection_;
	guint id_;
};

/// Follows whether a name has an owner, for as long as the object lives. One
/// of the two handlers is called once at first.
class NameWatch
{
public:
	NameWatch(GDBusConnection *connection, const char *name,
		  std::function<void()> appeared,
		  std::function<void()> vanished);
	~NameWatch();
	NameWatch(const NameWatch &) = delete;
	NameWatch &operator=(const NameWatch &) = delete;

private:
	std::function<void()> appeared_;
	std::function<void()> vanished_;
	guint id_;
};

} // namespace orvadctl
