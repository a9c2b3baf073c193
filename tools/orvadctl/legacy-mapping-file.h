#pragma once

/// The file with the mapping, which the daemon writes when it starts.

#include "legacy-parameter.h"

#include <vector>

namespace orvadctl
{

/// In bytes. A mapping of a thousand ports takes less than half of this.
constexpr std::size_t LARGEST_MAPPING = 16 << 20;

/// Reads a mapping (see parse_legacy_mapping()) from a file, which must be a
/// regular one of at most LARGEST_MAPPING. The error is a sentence that says
/// what the user can do.
bool read_legacy_mapping(const char *path,
			 std::vector<LegacyParameter> &parameters,
			 GError **error);

} // namespace orvadctl
