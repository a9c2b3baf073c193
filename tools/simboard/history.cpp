#include "history.h"

#include "util/glib-ptr.h"

#include <algorithm>
#include <ctime>

namespace simboard
{

namespace
{

gint64 monotonic_ns()
{
	constexpr gint64 SECOND = 1000000000;
	timespec now = {};

	clock_gettime(CLOCK_MONOTONIC, &now);
	return gint64{now.tv_sec} * SECOND + now.tv_nsec;
}

const char *what_word(What what)
{
	switch (what) {
	case What::LEVEL:
		return "level";
	case What::DIRECTION:
		return "direction";
	case What::WRITE:
		return "write";
	case What::EDGE:
		return "edge";
	case What::ACTIVE_LOW:
		return "active_low";
	case What::EXPORTED:
		return "exported";
	case What::UNEXPORTED:
		return "unexported";
	case What::FAULT:
		return "fault";
	case What::PLUGGED:
		return "plugged";
	case What::UNPLUGGED:
		return "unplugged";
	case What::SETTING:
		return "setting";
	case What::LOOP:
		return "loop";
	case What::EVENT:
		return "event";
	}
	return "?";
}

std::string actor_text(Actor actor)
{
	return actor == BOARD ? "board"
			      : "daemon(" + std::to_string(actor) + ")";
}

} // namespace

std::string change_text(const Change &change)
{
	return std::to_string(change.id) + " " +
	       std::to_string(change.time_ns) + " " +
	       (change.number ? std::to_string(*change.number) : "-") + " " +
	       (change.name.empty() ? "-" : change.name) + " " +
	       what_word(change.what) + " " + change.value + " " +
	       actor_text(change.actor);
}

std::string one_word(const std::string &name)
{
	util::CharPtr escaped(g_strescape(name.c_str(), nullptr));
	std::string word = escaped.get();

	std::replace(word.begin(), word.end(), ' ', '_');
	return word;
}

void History::record(std::optional<unsigned> number, const std::string &name,
		     What what, const std::string &value, Actor actor)
{
	changes_.push_back(
		{++last_id_, monotonic_ns(), number, name, what, value, actor});
	if (changes_.size() > MOST_CHANGES)
		changes_.pop_front();
	if (on_change)
		on_change(changes_.back());
}

void History::visit_since(
	guint64 since, const std::function<void(const Change &)> &visit) const
{
	auto first = std::partition_point(
		changes_.begin(), changes_.end(),
		[since](const Change &change) { return change.id <= since; });

	std::for_each(first, changes_.end(), visit);
}

} // namespace simboard
