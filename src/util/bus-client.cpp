#include "util/bus-client.h"

#include "util/identity.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

namespace util
{

namespace
{

constexpr int kDefaultTimeout = -1;
/// The bus is local: it answers within milliseconds or not at all.
constexpr std::chrono::seconds kConnectTimeout(5);

/// Cancels what takes longer than it should. A bus that takes connections but
/// does not answer would otherwise be waited for without end; it is, when no
/// thread can be started.
class Deadline
{
public:
	Deadline() : cancellable_(g_cancellable_new())
	{
		try {
			timer_ = std::thread([this] { run(); });
		} catch (const std::system_error &) {
		}
	}
	~Deadline()
	{
		{
			const std::lock_guard guard(mutex_);
			over_ = true;
		}
		changed_.notify_all();
		if (timer_.joinable())
			timer_.join();
	}
	Deadline(const Deadline &) = delete;
	Deadline &operator=(const Deadline &) = delete;

	GCancellable *cancellable() const
	{
		return cancellable_.get();
	}

private:
	void run()
	{
		std::unique_lock guard(mutex_);
		if (!changed_.wait_for(guard, kConnectTimeout,
				       [this] { return over_; }))
			g_cancellable_cancel(cancellable_.get());
	}

	ObjectPtr<GCancellable> cancellable_;
	std::mutex mutex_;
	std::condition_variable changed_;
	bool over_ = false;
	std::thread timer_;
};

/// The connection that system_bus() has given out, while anybody has it.
GWeakRef shared_bus;

ObjectPtr<GDBusConnection> connect(GError **error)
{
	const ServiceIdentity identity;
	const Deadline deadline;
	ObjectPtr<GDBusConnection> connection(g_bus_get_sync(
		G_BUS_TYPE_SYSTEM, deadline.cancellable(), error));
	if (connection)
		g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
	g_weak_ref_set(&shared_bus, connection.get());
	return connection;
}

} // namespace

PrivateConnection::PrivateConnection(GError **error)
{
	constexpr auto flags = static_cast<GDBusConnectionFlags>(
		G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
		G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
	const CharPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM,
							      nullptr, error));
	if (!address)
		return;
	const Deadline deadline;
	connection_.reset(g_dbus_connection_new_for_address_sync(
		address.get(), flags, nullptr, deadline.cancellable(), error));
}

/// Closed here, not when the last message on its way has let go of it.
PrivateConnection::~PrivateConnection()
{
	if (connection_)
		g_dbus_connection_close_sync(connection_.get(), nullptr,
					     nullptr);
}

ObjectPtr<GDBusConnection> system_bus(GError **error)
{
	ObjectPtr<GDBusConnection> present(
		static_cast<GDBusConnection *>(g_weak_ref_get(&shared_bus)));
	return present ? std::move(present) : connect(error);
}

ProxyPtr new_proxy(GDBusConnection *connection, const BusObject &object,
		   GDBusProxyFlags flags, GError **error)
{
	return ProxyPtr(g_dbus_proxy_new_sync(
		connection, flags, nullptr, object.name, object.path,
		object.interface, nullptr, error));
}

ProxyPtr new_proxy(const BusObject &object, GDBusProxyFlags flags,
		   GError **error)
{
	const auto connection = system_bus(error);
	return connection ? new_proxy(connection.get(), object, flags, error)
			  : nullptr;
}

bool has_owner(GDBusProxy *proxy)
{
	return CharPtr(g_dbus_proxy_get_name_owner(proxy)) != nullptr;
}

bool is_from_owner(GDBusProxy *proxy, const char *sender)
{
	const CharPtr owner(g_dbus_proxy_get_name_owner(proxy));
	return owner && g_strcmp0(owner.get(), sender) == 0;
}

bool is_of_type(GVariant *value, const char *type, const std::string &what,
		RateLimit *complaints)
{
	if (!g_variant_is_of_type(value, G_VARIANT_TYPE(type))) {
		complaints->warn("Ignoring %s of type %s", what.c_str(),
				 g_variant_get_type_string(value));
		return false;
	}
	complaints->settle();
	return true;
}

VariantPtr call(GDBusProxy *proxy, const char *method, GVariant *arguments,
		const char *reply, GError **error)
{
	VariantPtr answer(g_dbus_proxy_call_sync(
		proxy, method, arguments, G_DBUS_CALL_FLAGS_NONE,
		kDefaultTimeout, nullptr, error));
	if (answer &&
	    !g_variant_is_of_type(answer.get(), G_VARIANT_TYPE(reply))) {
		g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_SIGNATURE,
			    "Unexpected reply of type %s",
			    g_variant_get_type_string(answer.get()));
		return nullptr;
	}
	return answer;
}

} // namespace util
