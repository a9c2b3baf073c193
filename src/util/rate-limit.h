#pragma once

/// Keeps a fault that lasts from flooding the log: the same message is written
/// at most once a second, with a count of those that were left out.

#include <glib.h>

#include <string>

namespace util
{

/// One place that complains. Belongs to one thread at a time.
class RateLimit
{
public:
	/// Microseconds from any fixed point; never goes back.
	using Clock = gint64 (*)();

	explicit RateLimit(Clock clock = g_get_monotonic_time) : clock_(clock)
	{
	}

	/// Logs a warning, unless it is the last one again within a second of
	/// it. "<message> (repeated N times)" tells first how often the last
	/// one was left out.
	void warn(const char *format, ...) G_GNUC_PRINTF(2, 3);

	/// There is nothing to complain about now: tells how often the last
	/// warning was left out, once its second is over.
	void settle();

private:
	bool in_first_second() const;
	void tell_left_out();

	Clock clock_;
	std::string last_text_;
	gint64 last_time_ = 0;
	unsigned left_out_ = 0;
};

} // namespace util
