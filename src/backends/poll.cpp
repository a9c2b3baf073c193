#include "backends/poll.h"

#include <algorithm>
#include <limits>

namespace backend
{

gint32 parse_poll_interval(const IOPort *port, const char *text)
{
	using Limits = std::numeric_limits<gint32>;
	const gint64 value = g_ascii_strtoll(text, nullptr, 0);
	if (value < 0 || value > Limits::max())
		g_warning("Poll interval %s of port %s is out of range", text,
			  port->name.value_or("").c_str());
	return static_cast<gint32>(
		std::clamp<gint64>(value, Limits::min(), Limits::max()));
}

void start_poll(util::ScopedSource &poll, gint32 interval, GSourceFunc tick,
		IOPort *port)
{
	if (poll.id() == 0)
		poll.reset(g_timeout_add(static_cast<guint>(interval), tick,
					 port));
}

} // namespace backend
