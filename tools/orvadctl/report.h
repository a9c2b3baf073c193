#pragma once

#include <string_view>

namespace orvadctl
{

/// Prints one line on standard error, "orvadctl: " and message, made safe for
/// the terminal and flushed.
void report_line(std::string_view message);

} // namespace orvadctl
