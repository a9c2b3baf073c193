#include "arguments.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace orvadctl
{

namespace
{

constexpr guint64 LONGEST_TIMEOUT_S = 24 * 60 * 60;
constexpr guint64 MS_PER_SECOND = 1000;
constexpr std::size_t DECIMALS = 3;

constexpr guint DECIMAL = 10;
constexpr guint HEXADECIMAL = 16;
constexpr std::string_view HEXADECIMAL_PREFIX = "0x";

std::optional<guint64> parse_number(const std::string &text, guint64 lowest,
				    guint64 highest, guint base = DECIMAL)
{
	guint64 number = 0;

	// A byte of zero would end the text for GLib only.
	if (text.find('\0') != std::string::npos ||
	    !g_ascii_string_to_unsigned(text.c_str(), base, lowest, highest,
					&number, nullptr))
		return std::nullopt;
	return number;
}

std::optional<bool> parse_either(const std::string &text, const char *if_true,
				 const char *if_false)
{
	if (text == if_true)
		return true;
	if (text == if_false)
		return false;
	return std::nullopt;
}

} // namespace

std::optional<bool> parse_switch(const std::string &text)
{
	static constexpr const char *ON[] = {"on", "active", "1"};
	static constexpr const char *OFF[] = {"off", "inactive", "0"};

	if (std::find(std::begin(ON), std::end(ON), text) != std::end(ON))
		return true;
	if (std::find(std::begin(OFF), std::end(OFF), text) != std::end(OFF))
		return false;
	return std::nullopt;
}

std::optional<bool> parse_direction(const std::string &text)
{
	return parse_either(text, "input", "output");
}

std::optional<bool> parse_level(const std::string &text)
{
	return parse_either(text, "open", "closed");
}

std::optional<gint32> parse_milliseconds(const std::string &text)
{
	return parse_number(text, 0, LONGEST_STEP_MS);
}

std::optional<guint> parse_count(const std::string &text)
{
	return parse_number(text, 1, G_MAXUINT);
}

std::optional<gint> parse_timeout(const std::string &text)
{
	std::size_t point = text.find('.');
	std::string decimals;

	if (point != std::string::npos) {
		decimals = text.substr(point + 1);
		if (decimals.empty() || decimals.size() > DECIMALS)
			return std::nullopt;
	}
	decimals.resize(DECIMALS, '0');
	auto seconds =
		parse_number(text.substr(0, point), 0, LONGEST_TIMEOUT_S);
	auto thousandths = parse_number(decimals, 0, MS_PER_SECOND - 1);
	if (!seconds || !thousandths)
		return std::nullopt;
	guint64 ms = *seconds * MS_PER_SECOND + *thousandths;
	if (ms == 0 || ms > LONGEST_TIMEOUT_S * MS_PER_SECOND)
		return std::nullopt;
	return static_cast<gint>(ms);
}

std::optional<gint32> parse_integer(const std::string &text)
{
	const bool negative = text.starts_with('-');
	const guint64 lowest = negative ? 1 : 0;
	const guint64 highest = G_MAXINT32 + lowest;
	auto magnitude = parse_number(text.substr(lowest), lowest, highest);

	if (!magnitude)
		return std::nullopt;
	auto number = static_cast<gint64>(*magnitude);
	return static_cast<gint32>(negative ? -number : number);
}

std::optional<gint32> parse_port_number(const std::string &text)
{
	return parse_integer(text);
}

std::optional<guint32> parse_limit(const std::string &text)
{
	if (text.starts_with(HEXADECIMAL_PREFIX))
		return parse_number(text.substr(HEXADECIMAL_PREFIX.size()), 0,
				    G_MAXUINT32, HEXADECIMAL);
	return parse_number(text, 0, G_MAXUINT32);
}

} // namespace orvadctl
