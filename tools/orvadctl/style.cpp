#include "style.h"

namespace orvadctl
{

namespace
{

const char *start_sequence(Style style)
{
	switch (style) {
	case Style::PLAIN:
		return "";
	case Style::HEADING:
		return "\033[1m";
	case Style::ACTIVE:
		return "\033[32m";
	case Style::WARNING:
		return "\033[33m";
	case Style::FAINT:
		return "\033[2m";
	case Style::LINE_OPEN:
		return "\033[36m";
	case Style::LINE_CLOSED:
		return "\033[32m";
	case Style::LINE_SHORT:
		return "\033[35m";
	case Style::LINE_CUT:
		return "\033[31m";
	}
	return "";
}

} // namespace

std::string styled(std::string_view text, Style style, bool colour)
{
	if (!colour || style == Style::PLAIN || text.empty())
		return std::string(text);
	return start_sequence(style) + std::string(text) + "\033[0m";
}

} // namespace orvadctl
