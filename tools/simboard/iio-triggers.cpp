#include "iio-triggers.h"

#include <glib-unix.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>

namespace simboard
{

namespace
{

constexpr int THOUSANDTHS = 100;
constexpr int MICRO_IN_MILLI = 1000;
constexpr guint64 MILLI = 1000;
constexpr guint64 PICOSECONDS = 1000000000000;
constexpr guint64 NANOSECONDS = 1000000000;

} // namespace

int IioTrigger::set_frequency(std::string_view text)
{
	Fixpoint hertz;
	int error = parse_fixpoint(text, THOUSANDTHS, hertz);

	if (error != 0)
		return error;
	if (hertz.integer < 0 || hertz.fraction < 0)
		return ERANGE;
	guint64 millihertz = static_cast<guint64>(hertz.integer) * MILLI +
			     static_cast<guint64>(hertz.fraction);
	if (millihertz == 0 || millihertz > G_MAXUINT)
		return EINVAL;
	frequency_ = {hertz.integer, hertz.fraction * MICRO_IN_MILLI};
	period_ns_ = PICOSECONDS / millihertz;
	if (timer_.valid())
		start();
	return 0;
}

void IioTrigger::attach(const void *user, Fire fire)
{
	users_[user] = std::move(fire);
	if (!timer_.valid() && !removed_)
		start();
}

void IioTrigger::detach(const void *user)
{
	users_.erase(user);
	if (users_.empty())
		stop();
}

void IioTrigger::remove()
{
	removed_ = true;
	stop();
}

void IioTrigger::start()
{
	timespec period = {static_cast<time_t>(period_ns_ / NANOSECONDS),
			   static_cast<long>(period_ns_ % NANOSECONDS)};
	itimerspec setting = {period, period};

	stop();
	timer_.reset(
		timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
	timerfd_settime(timer_.get(), 0, &setting, nullptr);
	source_.reset(g_unix_fd_add(timer_.get(), G_IO_IN, on_timer, this));
}

void IioTrigger::stop()
{
	source_.reset();
	timer_.reset();
}

gboolean IioTrigger::on_timer(gint fd, GIOCondition, gpointer data)
{
	auto *trigger = static_cast<IioTrigger *>(data);
	guint64 times = 0;

	if (read(fd, &times, sizeof(times)) == sizeof(times))
		for (auto &[user, fire] : trigger->users_)
			fire(times);
	return G_SOURCE_CONTINUE;
}

IioTriggerPtr IioTriggers::find(const std::string &name) const
{
	auto place = triggers_.find(name);

	return place == triggers_.end() ? nullptr : place->second;
}

/// The lowest, as the kernel gives them out.
unsigned IioTriggers::free_number() const
{
	unsigned number = 0;
	auto is_taken = [&number](const auto &entry) {
		return entry.second->number == number;
	};

	while (std::any_of(triggers_.begin(), triggers_.end(), is_taken))
		++number;
	return number;
}

int IioTriggers::make(const std::string &name, Actor actor)
{
	if (find(name))
		return EEXIST;
	auto trigger = std::make_shared<IioTrigger>(name, free_number());
	triggers_[name] = trigger;
	history_.record(std::nullopt, one_word(name), What::PLUGGED, "trigger",
			actor);
	if (listener_.added)
		listener_.added(trigger);
	return 0;
}

int IioTriggers::remove(const std::string &name, Actor actor)
{
	IioTriggerPtr trigger = find(name);

	if (!trigger)
		return ENOENT;
	triggers_.erase(name);
	trigger->remove();
	history_.record(std::nullopt, one_word(name), What::UNPLUGGED,
			"trigger", actor);
	if (listener_.removed)
		listener_.removed(trigger);
	return 0;
}

int IioTriggers::set_frequency(IioTrigger &trigger, std::string_view text,
			       Actor actor)
{
	int error = trigger.set_frequency(text);

	if (error == 0)
		history_.record(
			std::nullopt, one_word(trigger.name), What::SETTING,
			"sampling_frequency:" + micro_text(trigger.frequency()),
			actor);
	return error;
}

} // namespace simboard
