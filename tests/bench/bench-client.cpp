/// The load side of the benchmark; prints one line of JSON.
///
///     bench-client calls NAME PORT CLIENTS SECONDS
///             GetState as fast as CLIENTS connections can, each waiting for
///             its answer: {"per_second", "median_us", "p99_us"}
///     bench-client calls-meanwhile NAME PORT
///             the same with one connection, until its standard input ends;
///             prints "ready" before
///     bench-client edges NAME PORT
///             prints "ready" when it listens, and from then on for each
///             PortChanged the monotonic clock in ns and the line's level
///     bench-client virtual NAME PORT COUNT
///             COUNT SetVirtual calls in a row, until the last PortChanged is
///             here: {"per_second"}
///     bench-client sequence NAME PORT STEPS
///             one sequence of simulated changes that are not held, until
///             ActionSequenceDone: {"per_second"}
///     bench-client exec FILE PROGRAM [ARGUMENT...]
///             writes the monotonic clock in ns to FILE and becomes PROGRAM
///     bench-client wait-name NAME
///             prints "ready" when it waits, and the monotonic clock in ns
///             when NAME has come onto the bus

#include "util/glib-ptr.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;
using ConnectionPtr = util::ObjectPtr<GDBusConnection>;

constexpr const char *kPath = "/com/vexa/IOControl/State";
constexpr const char *kInterface = "com.vexa.IOControl.State";

[[noreturn]] void die(const char *what, const util::Error &error)
{
	std::fprintf(stderr, "bench-client: %s: %s\n", what, error.message());
	std::exit(1);
}

gint64 monotonic_ns()
{
	return std::chrono::duration_cast<std::chrono::nanoseconds>(
		       Clock::now().time_since_epoch())
		.count();
}

double seconds_since(Clock::time_point start)
{
	return std::chrono::duration<double>(Clock::now() - start).count();
}

/// A connection of its own, not the process's shared one.
ConnectionPtr connect()
{
	util::Error error;
	const util::CharPtr address(g_dbus_address_get_for_bus_sync(
		G_BUS_TYPE_SYSTEM, nullptr, &error));
	if (!address)
		die("no bus", error);
	ConnectionPtr connection(g_dbus_connection_new_for_address_sync(
		address.get(),
		static_cast<GDBusConnectionFlags>(
			G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
			G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
		nullptr, nullptr, &error));
	if (!connection)
		die("cannot connect", error);
	return connection;
}

void call(GDBusConnection *connection, const char *name, const char *method,
	  GVariant *arguments)
{
	util::Error error;
	const util::VariantPtr reply(g_dbus_connection_call_sync(
		connection, name, kPath, kInterface, method, arguments, nullptr,
		G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
	if (!reply)
		die(method, error);
}

/// The bus answers in order: what was asked of it before has been done.
void wait_for_bus(GDBusConnection *connection)
{
	util::Error error;
	const util::VariantPtr reply(g_dbus_connection_call_sync(
		connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
		"org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr,
		G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
	if (!reply)
		die("no answer of the bus", error);
}

/// Calls at least once and until @p ended(); how long each took, in µs.
std::vector<double> call_until(GDBusConnection *connection, const char *name,
			       guint port, const std::function<bool()> &ended)
{
	std::vector<double> times;
	do {
		const auto start = Clock::now();
		call(connection, name, "GetState", g_variant_new("(u)", port));
		times.push_back(seconds_since(start) * 1e6);
	} while (!ended());
	return times;
}

void print_calls(std::vector<double> times, double elapsed)
{
	std::sort(times.begin(), times.end());
	const auto count = times.size();
	std::printf("{\"per_second\": %.1f, \"median_us\": %.1f, "
		    "\"p99_us\": %.1f}\n",
		    static_cast<double>(count) / elapsed, times[count / 2],
		    times[count * 99 / 100]);
}

int calls(const char *name, guint port, unsigned clients, double seconds)
{
	std::vector<ConnectionPtr> connections;
	for (unsigned i = 0; i < clients; ++i)
		connections.push_back(connect());
	std::vector<std::vector<double>> results(clients);
	std::vector<std::thread> threads;
	const auto start = Clock::now();
	const auto end =
		start + std::chrono::duration_cast<Clock::duration>(
				std::chrono::duration<double>(seconds));
	for (unsigned i = 0; i < clients; ++i)
		threads.emplace_back([&, i] {
			results[i] = call_until(
				connections[i].get(), name, port,
				[end] { return Clock::now() >= end; });
		});
	for (std::thread &thread : threads)
		thread.join();
	const double elapsed = seconds_since(start);
	std::vector<double> all;
	for (const auto &result : results)
		all.insert(all.end(), result.begin(), result.end());
	print_calls(std::move(all), elapsed);
	return 0;
}

void print_ready()
{
	std::puts("ready");
	std::fflush(stdout);
}

bool input_ended()
{
	pollfd input = {STDIN_FILENO, POLLIN, 0};
	return poll(&input, 1, 0) != 0;
}

int calls_meanwhile(const char *name, guint port)
{
	const ConnectionPtr connection = connect();
	print_ready();
	const auto start = Clock::now();
	std::vector<double> times =
		call_until(connection.get(), name, port, input_ended);
	print_calls(std::move(times), seconds_since(start));
	return 0;
}

/// Waits for signals of the service on the default main context.
class SignalCounter
{
public:
	SignalCounter(GDBusConnection *connection, const char *name,
		      const char *signal)
		: connection_(connection),
		  id_(g_dbus_connection_signal_subscribe(
			  connection, name, kInterface, signal, kPath, nullptr,
			  G_DBUS_SIGNAL_FLAGS_NONE, on_signal, this, nullptr))
	{
	}
	~SignalCounter()
	{
		g_dbus_connection_signal_unsubscribe(connection_, id_);
	}
	SignalCounter(const SignalCounter &) = delete;
	SignalCounter &operator=(const SignalCounter &) = delete;

	void wait_for(unsigned count) const
	{
		while (count_ < count)
			g_main_context_iteration(nullptr, TRUE);
	}

private:
	static void on_signal(GDBusConnection *, const char *, const char *,
			      const char *, const char *, GVariant *,
			      gpointer user_data)
	{
		++static_cast<SignalCounter *>(user_data)->count_;
	}

	GDBusConnection *connection_;
	guint id_;
	unsigned count_ = 0;
};

void print_rate(unsigned count, Clock::time_point start)
{
	std::printf("{\"per_second\": %.1f}\n", count / seconds_since(start));
}

void on_port_changed(GDBusConnection *, const char *, const char *,
		     const char *, const char *, GVariant *parameters,
		     gpointer user_data)
{
	const gint64 now = monotonic_ns();
	if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ibbbbbb)")))
		return;
	gint number = 0;
	gboolean state = FALSE;
	gboolean activelow = FALSE;
	g_variant_get(parameters, "(ibbbbbb)", &number, nullptr, nullptr,
		      nullptr, nullptr, &state, &activelow);
	if (static_cast<guint>(number) != *static_cast<guint *>(user_data))
		return;
	std::printf("%" G_GINT64_FORMAT " %s\n", now,
		    state != activelow ? "high" : "low");
	std::fflush(stdout);
}

int edges(const char *name, guint port)
{
	const ConnectionPtr connection = connect();
	g_dbus_connection_signal_subscribe(connection.get(), name, kInterface,
					   "PortChanged", kPath, nullptr,
					   G_DBUS_SIGNAL_FLAGS_NONE,
					   on_port_changed, &port, nullptr);
	wait_for_bus(connection.get());
	print_ready();
	for (;;)
		g_main_context_iteration(nullptr, TRUE);
}

int virtual_changes(const char *name, guint port, unsigned count)
{
	const ConnectionPtr connection = connect();
	const SignalCounter counter(connection.get(), name, "PortChanged");
	const auto start = Clock::now();
	for (unsigned i = 0; i < count; ++i)
		call(connection.get(), name, "SetVirtual",
		     g_variant_new("(ub)", port, i % 2 == 0));
	counter.wait_for(count);
	print_rate(count, start);
	return 0;
}

int sequence(const char *name, guint port, unsigned steps)
{
	const ConnectionPtr connection = connect();
	const SignalCounter changes(connection.get(), name, "PortChanged");
	const SignalCounter done(connection.get(), name, "ActionSequenceDone");
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(bi)"));
	for (unsigned i = 0; i < steps; ++i)
		g_variant_builder_add(&builder, "(bi)", i % 2 == 0, -1);
	const auto start = Clock::now();
	call(connection.get(), name, "StartActionSequence",
	     g_variant_new("(uba(bi))", port, TRUE, &builder));
	done.wait_for(1);
	changes.wait_for(steps);
	print_rate(steps, start);
	return 0;
}

int exec_program(const char *file, char **program)
{
	const std::string now = std::to_string(monotonic_ns());
	if (!g_file_set_contents(file, now.c_str(), -1, nullptr))
		return 1;
	execv(program[0], program);
	return 127;
}

void on_name(GDBusConnection *, const char *, const char *, gpointer)
{
	std::printf("%" G_GINT64_FORMAT "\n", monotonic_ns());
	std::exit(0);
}

int wait_name(const char *name)
{
	const ConnectionPtr connection = connect();
	g_bus_watch_name_on_connection(connection.get(), name,
				       G_BUS_NAME_WATCHER_FLAGS_NONE, on_name,
				       nullptr, nullptr, nullptr);
	print_ready();
	for (;;)
		g_main_context_iteration(nullptr, TRUE);
}

unsigned number(const char *text)
{
	return static_cast<unsigned>(g_ascii_strtoull(text, nullptr, 10));
}

} // namespace

int main(int argc, char **argv)
{
	const std::string mode = argc > 1 ? argv[1] : "";
	if (mode == "calls" && argc == 6)
		return calls(argv[2], number(argv[3]), number(argv[4]),
			     g_ascii_strtod(argv[5], nullptr));
	if (mode == "calls-meanwhile" && argc == 4)
		return calls_meanwhile(argv[2], number(argv[3]));
	if (mode == "edges" && argc == 4)
		return edges(argv[2], number(argv[3]));
	if (mode == "virtual" && argc == 5)
		return virtual_changes(argv[2], number(argv[3]),
				       number(argv[4]));
	if (mode == "sequence" && argc == 5)
		return sequence(argv[2], number(argv[3]), number(argv[4]));
	if (mode == "exec" && argc > 3)
		return exec_program(argv[2], argv + 3);
	if (mode == "wait-name" && argc == 3)
		return wait_name(argv[2]);
	std::fputs("bench-client: see the top of bench-client.cpp\n", stderr);
	return 2;
}
