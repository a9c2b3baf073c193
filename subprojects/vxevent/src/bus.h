#pragma once

#include "producer.h"

#include <list>
#include <memory>
#include <mutex>

namespace vxevent
{

/// The library's place on the system bus, one for the process: the connection
/// and the name, which is held while there is a producer. Without a bus nothing
/// happens.
///
/// The bus is not touched before the default main context runs, which is when
/// a daemon has taken on its own identity: the bus knows a connection by the
/// identity that it was made with.
///
/// The name is asked for and given back without waiting for an answer, since
/// no function of the library may wait; g_bus_unown_name() does.
class Bus
{
public:
	static Bus &instance();

	/// Publishes producer once the default main context runs.
	void attach(const std::shared_ptr<Producer> &producer);

	/// Withdraws producer. Any thread.
	void detach(const std::shared_ptr<Producer> &producer);

private:
	Bus() = default;

	// On the main loop.
	void reach();
	void connected(ObjectPtr<GDBusConnection> connection);
	static gboolean on_main_loop(gpointer) noexcept;
	static void on_connected(GObject *, GAsyncResult *result,
				 gpointer) noexcept;

	// With the lock held and a connection.
	void publish();
	void call_bus(const char *method, GVariant *arguments);

	// Taken before the lock of a producer.
	std::mutex mutex_;
	std::list<std::shared_ptr<Producer>> producers_;
	ObjectPtr<GDBusConnection> connection_;
	bool connecting_ = false;
	bool has_name_ = false;
};

} // namespace vxevent
