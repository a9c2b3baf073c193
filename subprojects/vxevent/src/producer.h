#pragma once

#include "glib-ptr.h"
#include "live-declarations.h"
#include "vxevent-producer-glue.h"

#include <memory>
#include <mutex>
#include <string>

namespace vxevent
{

/// A producer: its live declarations and its object on the bus. Whatever
/// changes them is announced while the lock is held, so that the signals go
/// out in the order of the calls. Nothing here waits for the bus. Every
/// function may be called from any thread unless it says otherwise; errors
/// are those of the public header.
class Producer : public std::enable_shared_from_this<Producer>
{
public:
	/// Whether name can be the last element of an object path.
	static bool is_name(const char *name);

	static std::shared_ptr<Producer> create(const char *name);

	guint32 declare(const EventDeclaration &declaration, GError **error);
	bool undeclare(guint32 id, GError **error);
	std::unique_ptr<Event> prepare_event(guint32 id, GError **error);
	bool send_event(const Event &event, GError **error);

	/// Brings the object to the bus, if it is not there, and announces
	/// what is declared. Main thread only.
	void publish(GDBusConnection *connection);

	/// Withdraws every declaration and takes the object from the bus.
	void withdraw();

	/// Answers ListDeclarations().
	void list_declarations(GDBusMethodInvocation *invocation);

	/// Answers GetState(). Main thread only; the lock must not be held,
	/// for the declaration's getter is called.
	void get_state(GDBusMethodInvocation *invocation, guint32 id);

private:
	/// GDBus does not hold the object while it dispatches a call to it: the
	/// main loop may be about to, whichever thread frees the producer.
	struct ReleaseInMainLoop {
		void operator()(VxeventProducer *object) const;
	};

	explicit Producer(const char *name);

	// The state as the declaration's getter tells it, without a value if
	// there is no getter or it has none; null when id is not declared.
	std::unique_ptr<Event> ask_getter(guint32 id, GError **error);

	const std::string path_;
	const std::unique_ptr<VxeventProducer, ReleaseInMainLoop> object_;

	std::mutex mutex_;
	// The rest is guarded by the lock.
	LiveDeclarations declarations_;
	bool published_ = false;
};

} // namespace vxevent
