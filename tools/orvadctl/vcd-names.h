#pragma once

/// The names of a value change dump (IEEE 1364, section 18).

#include <string>
#include <utility>
#include <vector>

#include <glib.h>

namespace orvadctl
{

/// The short name that value changes use for the variable of that index, from
/// 0: printable ASCII characters, one for the first 94.
std::string vcd_identifier_code(std::size_t index);

/// What ports are called in a dump: letters, digits and underscores of ASCII,
/// no digit first, each name once. As near to the port's own name as that
/// allows; "port_5" without one; the number behind it when it is not the first
/// of that name.
/// @param ports numbers and names.
std::vector<std::string>
vcd_reference_names(const std::vector<std::pair<gint32, std::string>> &ports);

} // namespace orvadctl
