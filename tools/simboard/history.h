#pragma once

/// What has happened on the board, in the order of time.

#include <glib.h>
#include <sys/types.h>

#include <deque>
#include <functional>
#include <optional>
#include <string>

namespace simboard
{

/// Who changed something: a process that used the files, or the board itself
/// (its surroundings, and whoever gives it commands).
using Actor = pid_t;
constexpr Actor BOARD = 0;

enum class What {
	LEVEL,      ///< The level changed: high, low; 0 to 255 of a loop.
	DIRECTION,  ///< A word was written to direction.
	WRITE,      ///< 1 or 0 was written to value, changed or not.
	EDGE,       ///< A word was written to edge.
	ACTIVE_LOW, ///< 1 or 0 was written to active_low.
	EXPORTED,   ///< The line got that folder.
	UNEXPORTED, ///< The line lost that folder.
	FAULT,      ///< An access fails from now on, or no more: "read:EIO".
	PLUGGED,    ///< A line, chip, converter or trigger is there (again).
	UNPLUGGED,  ///< It has gone.
	SETTING,    ///< Of a converter: "bits:16", "speed:500000", "mode:3".
	LOOP,       ///< A loop's state: a word, ohms, or "raw".
	EVENT       ///< A channel has crossed a threshold: "2:rising".
};

struct Change {
	guint64 id;                     ///< From 1; without gaps.
	gint64 time_ns;                 ///< CLOCK_MONOTONIC
	std::optional<unsigned> number; ///< Of lines and chips.
	std::string name;
	What what;
	std::string value;
	Actor actor;
};

/// A change as a line of text without its end: id, time, line number and name
/// ("-" for none), what, value, and "board" or "daemon(PID)", a blank between
/// each.
std::string change_text(const Change &change);

/// A name from a user of the files, made one printable word.
std::string one_word(const std::string &name);

class History
{
public:
	static constexpr std::size_t MOST_CHANGES = 100000;

	/// Called after each change was added.
	std::function<void(const Change &)> on_change;

	void record(std::optional<unsigned> number, const std::string &name,
		    What what, const std::string &value, Actor actor);

	/// Calls visit for each change that is still kept and has an id above
	/// since, the oldest first.
	void
	visit_since(guint64 since,
		    const std::function<void(const Change &)> &visit) const;

private:
	std::deque<Change> changes_;
	guint64 last_id_ = 0;
};

} // namespace simboard
