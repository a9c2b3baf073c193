#pragma once

/// Text from outside, made safe to print, and how wide it is on a terminal.

#include <string>
#include <string_view>

namespace orvadctl
{

/// Replaces whatever does not show as itself, so that text takes one line and
/// cannot steer the terminal: control and format characters, line separators
/// and bytes that are not UTF-8 become C escapes (\n, \x1b, \u202e); a
/// backslash is doubled.
std::string escape(std::string_view text);

/// The same in double quotes, with the quotes inside escaped too.
std::string quote(std::string_view text);

/// Makes JSON safe for the terminal: characters that do not show as themselves
/// become \uXXXX, which is the same JSON.
/// @param json valid JSON in UTF-8; its line breaks and tabs are kept.
std::string escape_json(std::string_view json);

/// How many terminal columns text takes; wide characters take two, combining
/// ones none.
/// @param text UTF-8 without control characters, as escape() returns it.
std::size_t display_width(std::string_view text);

/// The beginning of text that fits into that many terminal columns.
/// @param text as for display_width().
std::string clip(std::string_view text, std::size_t columns);

} // namespace orvadctl
