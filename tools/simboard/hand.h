#pragma once

/// Whoever stands at the board: what takes a while there.

#include "board.h"
#include "util/scoped-source.h"

#include <list>

namespace simboard
{

class Hand
{
public:
	using Done = std::function<void()>;

	/// @param board must outlive this.
	explicit Hand(Board &board) : board_(board)
	{
	}
	Hand(const Hand &) = delete;
	Hand &operator=(const Hand &) = delete;

	/// Holds a button down and releases it after that time, then calls
	/// done.
	void press(Line &button, unsigned milliseconds, Done done);

	/// Changes the level of a line count times, as fast as the main loop
	/// turns, then calls done. Between two changes a reader of the line
	/// gets its turn.
	void burst(Line &line, unsigned count, Done done);

private:
	struct Task {
		Hand *hand;
		Line *line;
		unsigned left; ///< Changes of level to come.
		Done done;
		util::ScopedSource source;
		std::list<Task>::iterator self;
	};

	Task &add_task(Line &line, unsigned left, Done done);
	void end_task(Task &task);

	Board &board_;
	std::list<Task> tasks_;
};

} // namespace simboard
