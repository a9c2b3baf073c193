#pragma once

/// The text that tells the older configuration system which property on the bus
/// each of its parameters is.

#include "legacy-parameter.h"

#include <string_view>
#include <vector>

namespace orvadctl
{

/// Reads a mapping, which is XML: groups of parameters, each with its property
/// and options. Elements that are not known are ignored with all that is inside
/// them, and so are attributes and options. False with error set when it is not
/// well-formed, is no mapping, or leaves out what a parameter needs; the error
/// says where.
bool parse_legacy_mapping(std::string_view text,
			  std::vector<LegacyParameter> &parameters,
			  GError **error);

} // namespace orvadctl
