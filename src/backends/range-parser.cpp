#include "backends/range-parser.h"

#include "ioport/port-supervision.h"

#include <cstring>
#include <utility>

namespace
{

gint32 parse_limit(const char *text)
{
	constexpr unsigned kDecimal = 10;
	return static_cast<gint32>(g_ascii_strtoll(text, nullptr, kDecimal));
}

} // namespace

std::optional<ParsedRange> RangeParser::parse(const char *key,
					      const char *value)
{
	if (std::strcmp(key, "state") == 0)
		pending_.state = value;
	else if (std::strcmp(key, "lower") == 0)
		pending_.lower = parse_limit(value);
	else if (std::strcmp(key, "upper") == 0) {
		pending_.upper = parse_limit(value);
		return std::exchange(pending_, {});
	}
	return std::nullopt;
}

void add_parsed_range(IOPort *port, const ParsedRange &range)
{
	util::Error error;
	if (!io_port_add_supervised_range(
		    port, range.state ? range.state->c_str() : nullptr,
		    static_cast<guint32>(range.lower),
		    static_cast<guint32>(range.upper), &error))
		g_warning("Failed to configure port: %s\n", error.message());
}
