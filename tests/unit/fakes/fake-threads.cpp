#include "fakes/fake-threads.h"

#include <dlfcn.h>
#include <glib.h>

#include <condition_variable>
#include <memory>
#include <mutex>

namespace
{

std::mutex mutex;
std::condition_variable changed;
bool refused = false;
bool held = false;

struct Start {
	GThreadFunc function;
	gpointer data;
};

bool is_refused()
{
	const std::lock_guard guard(mutex);
	return refused;
}

gpointer run_when_released(gpointer data)
{
	const std::unique_ptr<Start> start(static_cast<Start *>(data));
	{
		std::unique_lock guard(mutex);
		changed.wait(guard, [] { return !held; });
	}
	return start->function(start->data);
}

void set(bool new_refused, bool new_held)
{
	const std::lock_guard guard(mutex);
	refused = new_refused;
	held = new_held;
	changed.notify_all();
}

} // namespace

namespace fake_threads
{

void refuse()
{
	set(true, false);
}

void hold()
{
	set(false, true);
}

void reset()
{
	set(false, false);
}

} // namespace fake_threads

extern "C" GThread *g_thread_try_new(const gchar *name, GThreadFunc function,
				     gpointer data, GError **error)
{
	using Function = decltype(&g_thread_try_new);
	static const auto real = reinterpret_cast<Function>(
		dlsym(RTLD_NEXT, "g_thread_try_new"));
	if (is_refused()) {
		g_set_error_literal(error, G_THREAD_ERROR, G_THREAD_ERROR_AGAIN,
				    "No more threads");
		return nullptr;
	}
	auto start = std::make_unique<Start>(Start{function, data});
	GThread *thread = real(name, run_when_released, start.get(), error);
	if (thread != nullptr)
		static_cast<void>(start.release());
	return thread;
}
