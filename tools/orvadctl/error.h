#pragma once

#include "../common/error.h"

namespace orvadctl
{

using tools::is_usage_error;
using tools::set_failure;
using tools::set_usage_error;

} // namespace orvadctl
