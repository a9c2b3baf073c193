#pragma once

/// A bus of its own, which is the system bus for as long as it lives, for
/// whoever connects to it anew.

#include "util/glib-ptr.h"

#include <gtest/gtest.h>

#include <string>

class PrivateBus
{
public:
	PrivateBus() : bus_(g_test_dbus_new(G_TEST_DBUS_NONE))
	{
		g_test_dbus_up(bus_.get());
		g_setenv("DBUS_SYSTEM_BUS_ADDRESS", address(), TRUE);
	}
	~PrivateBus()
	{
		g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
		g_test_dbus_down(bus_.get());
	}
	PrivateBus(const PrivateBus &) = delete;
	PrivateBus &operator=(const PrivateBus &) = delete;

	const char *address() const
	{
		return g_test_dbus_get_bus_address(bus_.get());
	}
	/// A connection of the caller's own.
	util::ObjectPtr<GDBusConnection> connect() const
	{
		constexpr auto kFlags = static_cast<GDBusConnectionFlags>(
			G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
			G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
		util::Error error;
		util::ObjectPtr<GDBusConnection> connection(
			g_dbus_connection_new_for_address_sync(
				address(), kFlags, nullptr, nullptr, &error));
		EXPECT_FALSE(error) << error.message();
		return connection;
	}

private:
	util::ObjectPtr<GTestDBus> bus_;
};
