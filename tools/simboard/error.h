#pragma once

#include "../common/error.h"

namespace simboard
{

using tools::is_usage_error;
using tools::set_failure;
using tools::set_usage_error;

/// The number of an errno's symbol ("EIO") or of its decimal text; 0 when
/// there is no such error.
int errno_from_text(const char *text);

/// An errno's symbol, such as "EIO".
const char *errno_symbol(int number);

} // namespace simboard
