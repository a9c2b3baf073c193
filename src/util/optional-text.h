#pragma once

/// Texts that need not be there, for functions that take nullptr for that.

#include <optional>
#include <string>

namespace util
{

/// Of @p text, as long as that lives; nullptr without one.
inline const char *c_str(const std::optional<std::string> &text)
{
	return text ? text->c_str() : nullptr;
}

} // namespace util
