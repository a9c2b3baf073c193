#pragma once

/// An interface on an object of its own, under a name of its own on the system
/// bus.

#include "util/glib-ptr.h"

#include <mutex>

class Exported
{
public:
	/// What is exported, and as what.
	struct Description {
		const char *name;
		const char *path;
		/// A new interface with its handlers connected.
		GDBusInterfaceSkeleton *(*make)();
		/// Logged as a warning when the export fails.
		const char *failure;
	};

	explicit Exported(const Description &description)
		: description_(description)
	{
	}

	/// Starts owning the name; the interface is exported once there is a
	/// bus. Main thread.
	void start();

	/// Takes the interface and the name off the bus. Main thread.
	void stop();

	/// Calls @p function with the interface, which stays on the bus until
	/// that returns; nothing when it is not there. Any thread.
	template <typename Function> void use(Function function)
	{
		const std::lock_guard guard(mutex_);
		if (interface_)
			function(interface_.get());
	}

private:
	static void on_bus_acquired(GDBusConnection *connection, const char *,
				    gpointer user_data);

	const Description description_;
	guint owner_id_ = 0;
	/// Guards interface_.
	std::mutex mutex_;
	util::ObjectPtr<GDBusInterfaceSkeleton> interface_;
};
