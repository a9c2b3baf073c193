#pragma once

/// A bus of its own for a test, and a client of the event library on it.

#include "test-handles.h"

#include <functional>
#include <string>
#include <vector>

constexpr auto kEventsName = "org.orvad.Events1";
constexpr auto kProducerInterface = "org.orvad.Events1.Producer";

/// Runs the default main context until condition holds; false when it does not
/// within a time in which it always should.
bool run_until(const std::function<bool()> &condition);

/// As run_until(), for a condition that asks over the bus: the main context
/// runs while it waits for its answers, and nothing else may be left to come.
bool ask_until(const std::function<bool()> &condition);

/// A bus daemon, which is the system bus of this process.
class TestBus
{
public:
	TestBus();
	~TestBus();
	TestBus(const TestBus &) = delete;
	TestBus &operator=(const TestBus &) = delete;

	void stop();
	const char *address() const;

private:
	TestHandle<GTestDBus, g_object_unref> bus_;
};

/// The answer to a call: its values, or the name and the text of an error.
struct Answer {
	std::string values;
	std::string error_name;
	std::string error_text;
};

/// A client with a connection of its own, which records the signals of all
/// producers in the order in which they come.
class BusClient
{
public:
	explicit BusClient(const char *address);
	~BusClient();
	BusClient(const BusClient &) = delete;
	BusClient &operator=(const BusClient &) = delete;

	/// One signal: "<producer>.<member><arguments>".
	const std::vector<std::string> &signals() const
	{
		return signals_;
	}
	/// Forgets the signals received so far.
	void forget_signals()
	{
		signals_.clear();
	}
	/// Runs the main loop until that many signals have come.
	bool wait_for_signals(std::size_t count);

	/// Calls a method of a producer while the main loop runs. arguments is
	/// taken over if it is floating and may be null.
	Answer call(const char *producer, const char *method,
		    GVariant *arguments = nullptr);
	/// GetState() of the producer "test".
	Answer get_state(guint32 id);

	/// Whether the library's name is on the bus.
	bool sees_name();
	/// How many connections the bus has.
	std::size_t connections();

private:
	Answer call_object(const char *name, const char *path,
			   const char *interface, const char *method,
			   GVariant *arguments);
	static void on_signal(GDBusConnection *, const gchar *,
			      const gchar *path, const gchar *,
			      const gchar *member, GVariant *arguments,
			      gpointer data);

	TestHandle<GDBusConnection, g_object_unref> connection_;
	guint subscription_;
	std::vector<std::string> signals_;
};
