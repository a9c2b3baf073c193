#pragma once

/// Keeps callers from burying the daemon under calls. GLib reads calls from the
/// bus as fast as they come and keeps them until the main loop gets to them; a
/// bus lets each of a user's 256 connections wait for 128 answers, and holds
/// back no call that wants none (dbus-daemon(1), "limit"). While many calls
/// wait, whoever has more than a few of them is refused: who asks for one thing
/// at a time is always served, and soon.

#include <gio/gio.h>

#include <mutex>
#include <string>
#include <unordered_map>

/// What waits, by its sender. Any thread.
class CallGate
{
public:
	/// How many of the waiting calls anybody may have in any case.
	static constexpr unsigned kFew = 8;

	/// @param many how many calls wait before anybody is refused.
	explicit CallGate(unsigned many) : many_(many)
	{
	}

	/// A call of that sender waits from now on, served or refused, until
	/// leave(). False when it is to be refused.
	bool enter(const std::string &sender);
	/// A call of that sender has its answer; one that was never heard of
	/// changes nothing.
	void leave(const std::string &sender);

private:
	const unsigned many_;
	std::mutex mutex_;
	std::unordered_map<std::string, unsigned> waiting_;
	unsigned total_ = 0;
};

/// Puts the process's gates in front of a connection, for good: one for calls
/// that want an answer, which is "org.freedesktop.DBus.Error.LimitsExceeded"
/// from the 1025th one on that waits, and a wider one for calls that want none,
/// since those are refused without a word, from the 16385th one on.
void call_gate_guard(GDBusConnection *connection);
