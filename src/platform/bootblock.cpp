#include "platform/bootblock.h"

#include "util/glib-ptr.h"
#include "util/log.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace
{

constexpr const char *kName = "com.vexa.PolicyKitSystem";
constexpr const char *kPath = "/com/vexa/PolicyKitSystem";
constexpr int kDefaultTimeout = -1;
/// The bus is local: it answers within milliseconds or not at all.
constexpr std::chrono::seconds kConnectTimeout(5);

/// Cancels what takes longer than it should. A bus that takes connections but
/// does not answer would otherwise be waited for without end.
class Deadline
{
public:
	Deadline()
		: cancellable_(g_cancellable_new()), timer_([this] { run(); })
	{
	}
	~Deadline()
	{
		{
			const std::lock_guard guard(mutex_);
			over_ = true;
		}
		changed_.notify_all();
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

	util::ObjectPtr<GCancellable> cancellable_;
	std::mutex mutex_;
	std::condition_variable changed_;
	bool over_ = false;
	std::thread timer_;
};

/// Closed for good when it goes out of scope, not when the last message on its
/// way has let go of it.
class PrivateConnection
{
public:
	explicit PrivateConnection(GError **error)
	{
		const util::CharPtr address(g_dbus_address_get_for_bus_sync(
			G_BUS_TYPE_SYSTEM, nullptr, error));
		if (!address)
			return;
		const Deadline deadline;
		connection_.reset(g_dbus_connection_new_for_address_sync(
			address.get(), kFlags, nullptr, deadline.cancellable(),
			error));
	}
	~PrivateConnection()
	{
		if (connection_)
			g_dbus_connection_close_sync(connection_.get(), nullptr,
						     nullptr);
	}
	PrivateConnection(const PrivateConnection &) = delete;
	PrivateConnection &operator=(const PrivateConnection &) = delete;

	GDBusConnection *get() const
	{
		return connection_.get();
	}

private:
	static constexpr auto kFlags = static_cast<GDBusConnectionFlags>(
		G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
		G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);

	util::ObjectPtr<GDBusConnection> connection_;
};

util::ObjectPtr<GDBusProxy> new_proxy(GDBusConnection *connection,
				      GError **error)
{
	return util::ObjectPtr<GDBusProxy>(g_dbus_proxy_new_sync(
		connection, G_DBUS_PROXY_FLAGS_NONE, nullptr, kName, kPath,
		kName, nullptr, error));
}

/// The reply, which is of type "(s)", or none.
util::VariantPtr call(GDBusProxy *proxy, const char *name, GError **error)
{
	util::VariantPtr reply(g_dbus_proxy_call_sync(
		proxy, "ReadBootblockParam", g_variant_new("(s)", name),
		G_DBUS_CALL_FLAGS_NONE, kDefaultTimeout, nullptr, error));
	if (reply &&
	    !g_variant_is_of_type(reply.get(), G_VARIANT_TYPE("(s)"))) {
		g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_SIGNATURE,
			    "Unexpected reply of type %s",
			    g_variant_get_type_string(reply.get()));
		return nullptr;
	}
	return reply;
}

} // namespace

void bootblock_read_param(const char *name, std::optional<std::string> *value)
{
	util::Error error;
	const PrivateConnection connection(&error);
	const auto proxy = connection.get()
				   ? new_proxy(connection.get(), &error)
				   : nullptr;
	if (!proxy) {
		g_log(nullptr, util::kLogLevelUser, "Failed to setup proxy: %s",
		      error.message());
		return;
	}
	const util::VariantPtr reply = call(proxy.get(), name, &error);
	if (!reply) {
		g_info("Failed to request policykit system: %s",
		       error.message());
		return;
	}
	const char *text = nullptr;
	g_variant_get(reply.get(), "(&s)", &text);
	*value = text;
}
