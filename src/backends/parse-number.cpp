#include "backends/parse-number.h"

#include <algorithm>
#include <limits>

namespace backend
{

gint32 parse_int(const char *text, unsigned base)
{
	using Limits = std::numeric_limits<gint32>;
	return static_cast<gint32>(
		std::clamp<gint64>(g_ascii_strtoll(text, nullptr, base),
				   Limits::min(), Limits::max()));
}

guint32 parse_uint(const char *text, unsigned base)
{
	constexpr gint64 kMost = G_MAXUINT32;
	return static_cast<guint32>(std::clamp<gint64>(
		g_ascii_strtoll(text, nullptr, base), -kMost, kMost));
}

} // namespace backend
