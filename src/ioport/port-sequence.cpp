#include "ioport/port-sequence.h"

#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "util/assert.h"
#include "util/glib-ptr.h"

#include <algorithm>
#include <chrono>
#include <list>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kFirstVirtualPort = 5;
constexpr guint32 kMicrosecondsPerMillisecond = 1000;
/// How many steps that are not held are announced before the bus is waited
/// for.
constexpr unsigned kStepsAhead = 256;

int first_virtual_port_no = kFirstVirtualPort;
bool virtual_inputs_configured = false;

/// The threads are not joined one by one; shutdown waits for the last one.
std::mutex threads_mutex;
std::condition_variable threads_cond;
unsigned threads_running = 0;
/// The ports that they play on, one each; some are on no list any more.
std::list<PortRef> ports_playing;

bool aborted(IOPort *port)
{
	const std::lock_guard guard(port->state_lock);
	return port->abort_sequence;
}

/// The duration in microseconds is a signed 32-bit number that wraps.
Clock::time_point end_of_step(const ActionStep &step)
{
	const auto wrapped = static_cast<guint32>(step.duration) *
			     kMicrosecondsPerMillisecond;
	return Clock::now() +
	       std::chrono::microseconds(static_cast<gint32>(wrapped));
}

void apply(IOPort *port, const ActionStep &step)
{
	if (step.virtual_step)
		io_port_set_virtual(port, step.state);
	else
		io_port_set_state_internal(port, step.state);
}

/// False when the sequence is to end. The wait gives `lock` up; an abort is
/// asked for without it but signalled with it, so none is missed in between.
bool hold(IOPort *port, Clock::time_point end,
	  std::unique_lock<std::mutex> &lock)
{
	while (!aborted(port)) {
		if (Clock::now() >= end)
			return true;
		port->sequence_cond.wait_until(lock, end);
	}
	return false;
}

/// Steps that are not held would keep `lock` from everybody else, and fill the
/// memory with signals that the bus has not taken yet.
void give_way(IOPort *port, bool to_the_bus, std::unique_lock<std::mutex> &lock)
{
	lock.unlock();
	if (to_the_bus)
		iocontrol_wait_for_bus();
	{
		const std::lock_guard turn(port->turnstile);
	}
	lock.lock();
}

void play(IOPort *port, const std::vector<ActionStep> &steps,
	  std::unique_lock<std::mutex> &lock)
{
	unsigned at_once = 0;
	for (const ActionStep &step : steps) {
		apply(port, step);
		const auto end = end_of_step(step);
		if (Clock::now() >= end)
			give_way(port, ++at_once % kStepsAhead == 0, lock);
		if (!hold(port, end, lock))
			return;
	}
}

void mark_running(IOPort *port)
{
	const std::lock_guard guard(port->state_lock);
	port->sequence_running = true;
}

void mark_done(IOPort *port)
{
	const std::lock_guard guard(port->state_lock);
	port->sequence_running = false;
	port->abort_sequence = false;
	port->done_cond.notify_all();
}

/// The port is busy from here on, whenever the thread gets going. False when
/// it was busy already.
bool claim(IOPort *port)
{
	const std::lock_guard guard(port->state_lock);
	if (port->sequence_running)
		return false;
	port->sequence_running = true;
	port->abort_sequence = false;
	return true;
}

void count_thread(IOPort *port)
{
	const std::lock_guard guard(threads_mutex);
	++threads_running;
	ports_playing.push_back(PortRef::share(port));
}

PortRef take_playing(const IOPort *port)
{
	const std::lock_guard guard(threads_mutex);
	const auto found =
		std::ranges::find(ports_playing, port, &PortRef::get);
	PortRef taken = std::move(*found);
	ports_playing.erase(found);
	return taken;
}

/// The thread is done when it has let go of the port, which may be the end of
/// that.
void discount_thread(const IOPort *port)
{
	{
		const PortRef last = take_playing(port);
	}
	const std::lock_guard guard(threads_mutex);
	--threads_running;
	threads_cond.notify_all();
}

std::list<PortRef> copy_playing()
{
	const std::lock_guard guard(threads_mutex);
	return ports_playing;
}

gpointer thread_body(gpointer data)
{
	const IOPort *port = nullptr;
	{
		const std::unique_ptr<std::vector<ActionStep>> steps(
			static_cast<std::vector<ActionStep> *>(data));
		port = steps->front().port;
		io_port_run_sequence_internal(std::move(*steps));
	}
	discount_thread(port);
	return nullptr;
}

bool start_thread(std::vector<ActionStep> steps)
{
	auto data = std::make_unique<std::vector<ActionStep>>(std::move(steps));
	util::Error error;
	IOPort *port = data->front().port;
	count_thread(port);
	GThread *thread = g_thread_try_new("Action thread", thread_body,
					   data.get(), &error);
	if (thread == nullptr) {
		discount_thread(port);
		g_warning("Could not start the action thread: %s",
			  error.message());
		return false;
	}
	static_cast<void>(data.release());
	g_thread_unref(thread);
	return true;
}

bool takes_sequence(const IOPort *port, bool virtual_step)
{
	if (!port->is_setup)
		return false;
	return virtual_step ||
	       (!io_port_input(port) && port->backend != BACKEND_VIRTUAL);
}

/// `state_lock` is held by @p state. The abort is signalled with `lock` held:
/// the thread looks for it with `lock` held, too, before each wait.
void stop_sequence(IOPort *port, std::unique_lock<std::mutex> &state)
{
	port->abort_sequence = true;
	state.unlock();
	{
		const auto lock = io_port_lock_between_steps(port);
		port->sequence_cond.notify_all();
	}
	state.lock();
	port->done_cond.wait(state, [port] {
		return !port->sequence_running || !port->abort_sequence;
	});
}

EventKey manual_trigger_key(const char *key, std::string value,
			    const char *type, bool property)
{
	EventKey event_key;
	event_key.key = key;
	event_key.value = std::move(value);
	event_key.type = type;
	event_key.property = property;
	return event_key;
}

} // namespace

/// `state_lock` is not held between two tries: the action thread takes it with
/// `lock` held, and the two would wait for each other for ever.
void io_port_lock_exclusive(IOPort *port)
{
	std::unique_lock state(port->state_lock);
	for (;;) {
		if (port->sequence_running) {
			stop_sequence(port, state);
			continue;
		}
		if (port->lock.try_lock())
			return;
		state.unlock();
		std::this_thread::yield();
		state.lock();
	}
}

std::unique_lock<std::mutex> io_port_lock_between_steps(IOPort *port)
{
	const std::lock_guard turn(port->turnstile);
	return std::unique_lock(port->lock);
}

bool io_port_lock_taken(IOPort *port)
{
	const std::unique_lock lock(port->lock, std::try_to_lock);
	if (!lock.owns_lock())
		return true;
	const std::unique_lock state(port->state_lock, std::try_to_lock);
	return !state.owns_lock() || port->sequence_running;
}

bool io_port_run_action_sequence(PortRef &port, std::vector<ActionStep> steps)
{
	IOPort *ioport = port.get();
	MODULE_ASSERT_NONNULL(kPortModule, ioport);
	if (steps.empty() ||
	    !takes_sequence(ioport, steps.front().virtual_step)) {
		g_warning("Set action seq on incorrect port");
		return false;
	}
	if (!claim(ioport))
		return false;
	if (!start_thread(std::move(steps))) {
		mark_done(ioport);
		return false;
	}
	static_cast<void>(port.release());
	return true;
}

void io_port_run_sequence_internal(std::vector<ActionStep> steps)
{
	IOPort *port = steps.empty() ? nullptr : steps.front().port;
	if (port == nullptr) {
		WARN_FAILED_PRECONDITION("port != NULL");
		return;
	}
	{
		std::unique_lock lock(port->lock);
		mark_running(port);
		play(port, steps, lock);
		steps.clear();
		iocontrol_emit_action_sequence_done(port->number);
		mark_done(port);
	}
	io_port_unref(port);
}

void io_port_abort_sequences()
{
	for (const PortRef &port : copy_playing()) {
		io_port_lock_exclusive(port.get());
		port->lock.unlock();
	}
}

void io_port_join_sequences()
{
	std::unique_lock guard(threads_mutex);
	threads_cond.wait(guard, [] { return threads_running == 0; });
}

PortRef io_port_create_manual_trigger(int index)
{
	PortRef port = PortRef::adopt(io_port_new());
	port->type = PORT_OUTPUT;
	port->direction = false;
	port->number =
		static_cast<int>(static_cast<guint32>(first_virtual_port_no) +
				 static_cast<guint32>(index) - 1U);
	port->name = "manualtrigger" + std::to_string(index);
	port->is_setup = true;
	port->enabled = false;
	io_port_set_backend(port.get(), BACKEND_VIRTUAL);
	io_port_add_property(port.get(), "virtual", "true");

	std::unique_ptr<IOEvent, IOEventDeleter> event(new IOEvent);
	event->name = "com.vexa.Event.Qel.ManualTrigger";
	event->keys = {
		manual_trigger_key("state", "PORT_STATUS", "bool", true),
		manual_trigger_key("port", std::to_string(index), "int", false),
	};
	port->events.push_front(std::move(event));
	io_port_setup(port.get());
	return port;
}

void virtual_input_set_first_port_no(int number)
{
	first_virtual_port_no = number;
	virtual_inputs_configured = true;
}

int virtual_input_get_first_port_no()
{
	return first_virtual_port_no;
}

bool virtual_input_configured()
{
	return virtual_inputs_configured;
}
