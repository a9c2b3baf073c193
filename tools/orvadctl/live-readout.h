#pragma once

#include "command.h"
#include "drawing.h"
#include "feed.h"
#include "readout-poll.h"

namespace orvadctl
{

/// Shows what a supervised input measures as it changes: on a terminal a bar
/// that is drawn over, otherwise a line for each change. What cannot be
/// measured is said in its place.
class LiveReadout
{
public:
	LiveReadout(Context &context, StatePtr daemon,
		    SupervisedPtr supervised);

	/// Goes on until the user ends it, --count changes were shown, the time
	/// is over or nobody reads any more; waits for a daemon that is not
	/// there.
	bool run(GError **error);

private:
	void begin_anew();
	void show(const LineReport &report);
	void draw(const LineReport &report, bool changed);
	std::string frame(const LineReport &report) const;

	StatePtr daemon_;
	SupervisedPtr supervised_;
	Feed feed_;
	ReadoutPoll poll_;
	const bool redraws_;
	const bool utf8_;
	guint32 highest_level_ = 0;
	/// What was shown last, without its time.
	std::optional<std::string> shown_;
	Drawing drawing_;
};

} // namespace orvadctl
