#include "dbus/exported.h"

void Exported::start()
{
	owner_id_ = g_bus_own_name(G_BUS_TYPE_SYSTEM, description_.name,
				   G_BUS_NAME_OWNER_FLAGS_NONE, on_bus_acquired,
				   nullptr, nullptr, this, nullptr);
}

void Exported::stop()
{
	{
		const std::lock_guard guard(mutex_);
		if (interface_)
			g_dbus_interface_skeleton_unexport(interface_.get());
		interface_.reset();
	}
	if (owner_id_ != 0)
		g_bus_unown_name(std::exchange(owner_id_, 0));
}

void Exported::on_bus_acquired(GDBusConnection *connection, const char *,
			       gpointer user_data)
{
	auto *self = static_cast<Exported *>(user_data);
	util::ObjectPtr<GDBusInterfaceSkeleton> made(self->description_.make());
	if (!g_dbus_interface_skeleton_export(
		    made.get(), connection, self->description_.path, nullptr)) {
		g_warning("%s", self->description_.failure);
		return;
	}
	const std::lock_guard guard(self->mutex_);
	self->interface_ = std::move(made);
}
