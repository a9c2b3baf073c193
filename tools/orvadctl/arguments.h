#pragma once

/// The values that a command line may hold. Each function takes the whole text
/// strictly and answers nothing for any other text: no signs but "-" where a
/// number may be negative, no blanks, no trailing characters, nothing out of
/// range, no matter which locale. Numbers are decimal unless said otherwise.

#include <glib.h>

#include <optional>
#include <string>

namespace orvadctl
{

/// The longest time that one step of a sequence can hold, in ms; the daemon
/// counts microseconds in 32 bits.
constexpr gint32 LONGEST_STEP_MS = G_MAXINT32 / 1000;

/// "on", "active", "1": true; "off", "inactive", "0": false.
std::optional<bool> parse_switch(const std::string &text);

/// "input": true; "output": false.
std::optional<bool> parse_direction(const std::string &text);

/// "open": true; "closed": false.
std::optional<bool> parse_level(const std::string &text);

/// A step's time in ms, 0 to LONGEST_STEP_MS.
std::optional<gint32> parse_milliseconds(const std::string &text);

/// How many of something, from 1.
std::optional<guint> parse_count(const std::string &text);

/// Seconds with up to three decimals, from 0.001 to 86400, as milliseconds.
std::optional<gint> parse_timeout(const std::string &text);

/// Any number of 32 bits, with "-" in front when it is negative.
std::optional<gint32> parse_integer(const std::string &text);

/// A port's number, any of 32 bits.
std::optional<gint32> parse_port_number(const std::string &text);

/// A limit of a range, any of 32 bits; hexadecimal behind "0x".
std::optional<guint32> parse_limit(const std::string &text);

} // namespace orvadctl
