#include "presence.h"

#include <utility>

namespace orvadctl
{

Presence::Presence(const char *title) : title_(title)
{
}

std::string Presence::update(bool there)
{
	const State state = there ? State::THERE : State::GONE;
	const State before = std::exchange(state_, state);
	const std::string title = title_;

	if (before == state)
		return "";
	if (before == State::UNKNOWN)
		return there ? "" : title + " is not running; waiting for it";
	return title + (there ? " is there" : " went away");
}

} // namespace orvadctl
