#pragma once

/// A bus of its own for a test, and a client of the library on it.

#include "test-handles.h"

#include <functional>
#include <string>
#include <vector>

constexpr auto kName = "org.orvad.ConfigurationEvents1";
constexpr auto kInterface = "org.orvad.ConfigurationEvents1";

/// Runs the default main context until condition holds; false when it does not
/// within a time in which it always should.
bool run_until(const std::function<bool()> &condition);

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

/// A client with a connection of its own, which records the signals of all
/// handles in the order in which they come.
class BusClient
{
public:
	explicit BusClient(const char *address);
	~BusClient();
	BusClient(const BusClient &) = delete;
	BusClient &operator=(const BusClient &) = delete;

	/// One signal: "<handle>.<member><arguments>", the arguments in
	/// GVariant's text form.
	const std::vector<std::string> &signals() const
	{
		return signals_;
	}
	/// Runs the main loop until that many signals have come.
	bool wait_for_signals(std::size_t count);

	/// Whether the library's name is on the bus.
	bool sees_name();
	/// Runs the main loop until it is, or is not.
	bool wait_for_name(bool there);
	/// Whether the library's name has that object with the interface.
	bool sees_object(const std::string &path);
	/// How many connections the bus has, this one included.
	std::size_t connections();

private:
	VariantPtr call(const char *name, const char *path,
			const char *interface, const char *method,
			GVariant *arguments);
	VariantPtr call_bus(const char *method, GVariant *arguments);
	static void on_signal(GDBusConnection *, const gchar *,
			      const gchar *path, const gchar *,
			      const gchar *member, GVariant *arguments,
			      gpointer data);

	TestHandle<GDBusConnection, g_object_unref> connection_;
	guint subscription_;
	std::vector<std::string> signals_;
};
