#pragma once

#include <string_view>

namespace backend
{

/// Whether a name of the configuration can be one of a file: one that leads
/// out of its folder is not wanted in a path.
constexpr bool is_file_name(std::string_view name)
{
	return !name.empty() && name != "." && name != ".." &&
	       name.find('/') == std::string_view::npos;
}

} // namespace backend
