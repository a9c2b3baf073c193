#pragma once

#include "util/glib-ptr.h"

#include <utility>

namespace util
{

/// Owns one handler of an object's signal, and disconnects it.
class ScopedSignal
{
public:
	ScopedSignal() = default;
	ScopedSignal(gpointer object, const char *signal, GCallback handler,
		     gpointer user_data)
		: object_(G_OBJECT(g_object_ref(object))),
		  id_(g_signal_connect(object, signal, handler, user_data))
	{
	}
	~ScopedSignal()
	{
		reset();
	}
	ScopedSignal(ScopedSignal &&other) noexcept
		: object_(std::move(other.object_)),
		  id_(std::exchange(other.id_, 0))
	{
	}
	ScopedSignal &operator=(ScopedSignal &&other) noexcept
	{
		if (this != &other) {
			reset();
			object_ = std::move(other.object_);
			id_ = std::exchange(other.id_, 0);
		}
		return *this;
	}
	ScopedSignal(const ScopedSignal &) = delete;
	ScopedSignal &operator=(const ScopedSignal &) = delete;

	/// The handler's id; 0 when there is none.
	gulong id() const
	{
		return id_;
	}
	void reset()
	{
		if (id_ != 0)
			g_signal_handler_disconnect(object_.get(), id_);
		id_ = 0;
		object_.reset();
	}

private:
	ObjectPtr<GObject> object_;
	gulong id_ = 0;
};

/// Owns one subscription to a signal on the bus, of any object, and ends it.
class ScopedSubscription
{
public:
	ScopedSubscription() = default;
	ScopedSubscription(GDBusConnection *connection, const char *sender,
			   const char *interface, const char *signal,
			   GDBusSignalCallback handler)
		: connection_(G_DBUS_CONNECTION(g_object_ref(connection))),
		  id_(g_dbus_connection_signal_subscribe(
			  connection, sender, interface, signal, nullptr,
			  nullptr, G_DBUS_SIGNAL_FLAGS_NONE, handler, nullptr,
			  nullptr))
	{
	}
	~ScopedSubscription()
	{
		reset();
	}
	ScopedSubscription(ScopedSubscription &&other) noexcept
		: connection_(std::move(other.connection_)),
		  id_(std::exchange(other.id_, 0))
	{
	}
	ScopedSubscription &operator=(ScopedSubscription &&other) noexcept
	{
		if (this != &other) {
			reset();
			connection_ = std::move(other.connection_);
			id_ = std::exchange(other.id_, 0);
		}
		return *this;
	}
	ScopedSubscription(const ScopedSubscription &) = delete;
	ScopedSubscription &operator=(const ScopedSubscription &) = delete;

	void reset()
	{
		if (id_ != 0)
			g_dbus_connection_signal_unsubscribe(connection_.get(),
							     id_);
		id_ = 0;
		connection_.reset();
	}

private:
	ObjectPtr<GDBusConnection> connection_;
	guint id_ = 0;
};

} // namespace util
