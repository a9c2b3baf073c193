#pragma once

/// Channels whose value moves by itself.

#include "loops.h"
#include "util/scoped-source.h"

#include <list>

namespace simboard
{

struct Ramp {
	gint64 from = 0;
	gint64 to = 0;
	unsigned steps = 1;
	unsigned step_ms = 0; ///< 0: a step each time the main loop turns.
};

class Ramps
{
public:
	using Done = std::function<void()>;

	/// @param loops must outlive this.
	explicit Ramps(Loops &loops) : loops_(loops)
	{
	}
	Ramps(const Ramps &) = delete;
	Ramps &operator=(const Ramps &) = delete;

	/// Sets the value at its start, then goes to its end in equal steps,
	/// then calls done. Between two steps a reader gets its turn.
	void start(IioChannel &channel, const Ramp &ramp, Done done);

private:
	struct Task {
		Ramps *ramps;
		IioChannel *channel;
		Ramp ramp;
		unsigned taken; ///< Steps.
		Done done;
		util::ScopedSource source;
		std::list<Task>::iterator self;
	};

	static gboolean on_step(gpointer task);

	Loops &loops_;
	std::list<Task> tasks_;
};

} // namespace simboard
