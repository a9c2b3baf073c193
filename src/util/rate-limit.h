#pragma once

/// Keeps a fault that lasts from flooding the log: the same message is written
/// at most once a second, followed by a count of those left out before it.

#include <glib.h>

namespace util
{

/// Lets one occurrence through per second and counts the others. Belongs to
/// one thread at a time.
class RateLimit
{
public:
	/// Microseconds from any fixed point; never goes back.
	using Clock = gint64 (*)();

	explicit RateLimit(Clock clock = g_get_monotonic_time) : clock_(clock)
	{
	}

	/// Whether this occurrence may be reported. When it may, @p left_out
	/// is the number of occurrences since the last one that could not.
	bool admit(unsigned *left_out);

private:
	Clock clock_;
	bool started_ = false;
	gint64 last_ = 0;
	unsigned left_out_ = 0;
};

/// Logs a warning when @p limit lets it through; a second one, "... (repeated
/// N times)", says how often it was left out before.
void warn_limited(RateLimit &limit, const char *format, ...)
	G_GNUC_PRINTF(2, 3);

} // namespace util
