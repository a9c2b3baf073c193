#include "fakes/recorder.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <mutex>

namespace
{

std::mutex mutex;
std::condition_variable grown;
std::vector<std::string> lines;
std::function<void(const std::string &)> hook;

size_t count_locked(const std::string &prefix)
{
	return static_cast<size_t>(
		std::ranges::count_if(lines, [&](const std::string &line) {
			return line.starts_with(prefix);
		}));
}

/// Adds @p line; what is to be called with it.
std::function<void(const std::string &)> add(const std::string &line)
{
	const std::lock_guard guard(mutex);
	lines.push_back(line);
	grown.notify_all();
	return hook;
}

} // namespace

namespace recorder
{

void note(const char *format, ...)
{
	va_list args;
	va_start(args, format);
	const util::CharPtr line(g_strdup_vprintf(format, args));
	va_end(args);
	if (const auto call = add(line.get()))
		call(line.get());
}

std::vector<std::string> calls()
{
	const std::lock_guard guard(mutex);
	return lines;
}

size_t count(const std::string &prefix)
{
	const std::lock_guard guard(mutex);
	return count_locked(prefix);
}

bool wait_for(const std::string &prefix, size_t times)
{
	constexpr std::chrono::seconds kDeadline(20);
	std::unique_lock guard(mutex);
	return grown.wait_for(guard, kDeadline,
			      [&] { return count_locked(prefix) >= times; });
}

void set_hook(std::function<void(const std::string &line)> new_hook)
{
	const std::lock_guard guard(mutex);
	hook = std::move(new_hook);
}

void reset()
{
	const std::lock_guard guard(mutex);
	lines.clear();
	hook = nullptr;
}

std::string name_of(const IOPort *port)
{
	return port->name.value_or("#" + std::to_string(port->number));
}

} // namespace recorder
