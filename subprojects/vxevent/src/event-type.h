#pragma once

#include "declaration.h"

#include <memory>

namespace vxevent
{

/// The longest definition that is read, in bytes.
constexpr std::size_t kMaxDefinitionSize = 64 * 1024;

/// A declaration with what <directory>/<type>.conf defines. That is a key file
/// with a group [Event Type] (Name, and Property for a state) and a group
/// [Key <key>] for each key (Type, and Value, Namespace, Tags, KeyNiceName,
/// ValueNiceName); groups and keys of other names are ignored.
///
/// Null with EVENT_ERROR_NO_TYPE when there is no such file, and with
/// EVENT_ERROR_INVALID when type is no file name or the file defines nothing
/// that can be declared.
std::unique_ptr<EventDeclaration>
read_event_type(const std::string &directory, const char *type, GError **error);

} // namespace vxevent
