#pragma once

/// Calling other services on the system bus. A service's answer is input like
/// any other: what it sends is looked at before it is read.

#include "util/glib-ptr.h"
#include "util/rate-limit.h"

#include <string>

namespace util
{

using ProxyPtr = ObjectPtr<GDBusProxy>;

/// Where a service is found.
struct BusObject {
	const char *name;
	const char *path;
	const char *interface;
};

/// A connection to the system bus that is closed for good with this object,
/// and shared with nobody. Not there when the bus cannot be reached within
/// 5 s, which sets the error.
class PrivateConnection
{
public:
	explicit PrivateConnection(GError **error);
	~PrivateConnection();
	PrivateConnection(const PrivateConnection &) = delete;
	PrivateConnection &operator=(const PrivateConnection &) = delete;

	/// Null when it is not there.
	GDBusConnection *get() const
	{
		return connection_.get();
	}

private:
	ObjectPtr<GDBusConnection> connection_;
};

/// The process's shared connection to the system bus, connected when there is
/// none yet: as the user that the daemon runs as in the end, even while it is
/// still root. Waits no longer than 5 s. A bus that goes away does not end the
/// process. Main thread.
ObjectPtr<GDBusConnection> system_bus(GError **error);

/// A proxy on @p connection. That there is no such service now is no error: it
/// shows when it is called. Blocks for as long as the bus and, when its
/// properties are loaded, the service take to answer.
ProxyPtr new_proxy(GDBusConnection *connection, const BusObject &object,
		   GDBusProxyFlags flags, GError **error);

/// The same on the system bus.
ProxyPtr new_proxy(const BusObject &object, GDBusProxyFlags flags,
		   GError **error);

/// Whether the service is on the bus.
bool has_owner(GDBusProxy *proxy);

/// Whether @p sender, a connection, is the service that the proxy stands for. A
/// signal may come from anybody.
bool is_from_owner(GDBusProxy *proxy, const char *sender);

/// Whether @p value, which a service has sent, is of the type that it has to be
/// before it is read. Complains of @p what when it is not.
bool is_of_type(GVariant *value, const char *type, const std::string &what,
		RateLimit *complaints);

/// The type of a reply that is not looked at: any.
constexpr const char *kAnyReply = "r";

/// Calls @p method with @p arguments (floating, or null for none) and blocks
/// until there is an answer, which is of type @p reply, or the bus's default
/// time-out (25 s) is over. Null, with an error, otherwise. Any thread.
VariantPtr call(GDBusProxy *proxy, const char *method, GVariant *arguments,
		const char *reply, GError **error);

} // namespace util
