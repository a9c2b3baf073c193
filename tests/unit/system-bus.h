#pragma once

/// The system bus of a program's tests: one for all of them, since GLib keeps
/// the process's connection to it.

#include "private-bus.h"

#include <memory>

class SystemBus : public testing::Environment
{
public:
	void SetUp() override
	{
		bus_ = std::make_unique<PrivateBus>();
		shared.reset(
			g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
		ASSERT_TRUE(shared);
		g_dbus_connection_set_exit_on_close(shared.get(), FALSE);
		client = bus_->connect();
	}
	void TearDown() override
	{
		client.reset();
		g_dbus_connection_close_sync(shared.get(), nullptr, nullptr);
		shared.reset();
		bus_.reset();
	}

	/// Whether the name is on the bus. A condition for wait_until().
	bool has_owner(const char *name) const
	{
		const util::VariantPtr reply(g_dbus_connection_call_sync(
			client.get(), "org.freedesktop.DBus",
			"/org/freedesktop/DBus", "org.freedesktop.DBus",
			"NameHasOwner", g_variant_new("(s)", name), nullptr,
			G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
		gboolean owned = FALSE;
		g_variant_get(reply.get(), "(b)", &owned);
		// Whatever the main loop has to do, it does not wait for it.
		g_main_context_wakeup(nullptr);
		return owned;
	}

	/// The process's connection, and a client's own.
	util::ObjectPtr<GDBusConnection> shared;
	util::ObjectPtr<GDBusConnection> client;

private:
	std::unique_ptr<PrivateBus> bus_;
};

/// Belongs to the test framework.
inline SystemBus *const bus = new SystemBus;
inline const testing::Environment *const registered_bus =
	testing::AddGlobalTestEnvironment(bus);
