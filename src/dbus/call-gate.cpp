#include "dbus/call-gate.h"

#include "util/glib-ptr.h"

bool CallGate::enter(const std::string &sender)
{
	const std::lock_guard guard(mutex_);
	const unsigned waiting = ++waiting_[sender];
	return ++total_ <= many_ || waiting <= kFew;
}

void CallGate::leave(const std::string &sender)
{
	const std::lock_guard guard(mutex_);
	const auto found = waiting_.find(sender);
	if (found == waiting_.end())
		return;
	--total_;
	if (--found->second == 0)
		waiting_.erase(found);
}

namespace
{

// Never destroyed: the connection's thread outlives main().
CallGate &asking_calls = *new CallGate(1024);
CallGate &silent_calls = *new CallGate(16384);

gboolean on_turn(gpointer sender)
{
	silent_calls.leave(static_cast<const char *>(sender));
	return G_SOURCE_REMOVE;
}

/// Nothing will show when such a call has been served. The main loop takes what
/// waits in turn, and this comes right before the call.
void leave_in_turn(const char *sender)
{
	g_idle_add_full(G_PRIORITY_DEFAULT, on_turn, g_strdup(sender), g_free);
}

void refuse(GDBusConnection *connection, GDBusMessage *call)
{
	const util::ObjectPtr<GDBusMessage> answer(
		g_dbus_message_new_method_error_literal(
			call, "org.freedesktop.DBus.Error.LimitsExceeded",
			"Too many calls wait for their answers."));
	g_dbus_connection_send_message(connection, answer.get(),
				       G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
				       nullptr);
}

bool enter_asking(GDBusConnection *connection, GDBusMessage *call)
{
	if (asking_calls.enter(g_dbus_message_get_sender(call)))
		return true;
	refuse(connection, call);
	return false;
}

bool enter_silent(GDBusMessage *call)
{
	const char *sender = g_dbus_message_get_sender(call);
	const bool is_served = silent_calls.enter(sender);
	if (is_served)
		leave_in_turn(sender);
	else
		silent_calls.leave(sender);
	return is_served;
}

bool is_silent(GDBusMessage *call)
{
	return (g_dbus_message_get_flags(call) &
		G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) != 0;
}

/// The call itself when it is to be served.
GDBusMessage *take_call(GDBusConnection *connection, GDBusMessage *call)
{
	if (g_dbus_message_get_sender(call) == nullptr ||
	    (is_silent(call) ? enter_silent(call)
			     : enter_asking(connection, call)))
		return call;
	g_object_unref(call);
	return nullptr;
}

/// On the connection's own thread, for whatever comes and goes.
GDBusMessage *on_message(GDBusConnection *connection, GDBusMessage *message,
			 gboolean incoming, gpointer)
{
	const GDBusMessageType type = g_dbus_message_get_message_type(message);
	if (incoming && type == G_DBUS_MESSAGE_TYPE_METHOD_CALL)
		return take_call(connection, message);
	const char *receiver = g_dbus_message_get_destination(message);
	if (!incoming && receiver != nullptr &&
	    (type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN ||
	     type == G_DBUS_MESSAGE_TYPE_ERROR))
		asking_calls.leave(receiver);
	return message;
}

} // namespace

void call_gate_guard(GDBusConnection *connection)
{
	g_dbus_connection_add_filter(connection, on_message, nullptr, nullptr);
}
