#include "backends/range-parser.h"

#include "backends/parse-number.h"
#include "ioport/port-supervision.h"
#include "util/optional-text.h"

#include <cstring>
#include <utility>

std::optional<ParsedRange> RangeParser::parse(const char *key,
					      const char *value)
{
	if (std::strcmp(key, "state") == 0)
		pending_.state = value;
	else if (std::strcmp(key, "lower") == 0)
		pending_.lower = backend::parse_int(value, backend::kDecimal);
	else if (std::strcmp(key, "upper") == 0) {
		pending_.upper = backend::parse_int(value, backend::kDecimal);
		return std::exchange(pending_, {});
	}
	return std::nullopt;
}

void add_parsed_range(IOPort *port, const ParsedRange &range)
{
	util::Error error;
	if (!io_port_add_supervised_range(port, util::c_str(range.state),
					  static_cast<guint32>(range.lower),
					  static_cast<guint32>(range.upper),
					  &error))
		g_warning("Failed to configure port: %s\n", error.message());
}
