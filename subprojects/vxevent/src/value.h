#pragma once

#include "vxevent.h"

#include <map>
#include <optional>
#include <string>
#include <variant>

namespace vxevent
{

/// A value of a key, in the order of EventValueType.
using Value = std::variant<gint32, bool, double, std::string>;

/// Keys with their values.
using Values = std::map<std::string, Value>;

EventValueType type_of(const Value &value);

/// Whether type is one of the four; otherwise EVENT_ERROR_INVALID.
bool check_type(EventValueType type, GError **error);

/// The value that source, which is not kept, points at, as EventValueType
/// says. Fails with EVENT_ERROR_INVALID.
std::optional<Value> value_from_pointer(EventValueType type,
					gconstpointer source, GError **error);

/// The value that text denotes: a decimal integer of 32 bits; "1", "0",
/// "true" or "false"; a finite decimal fraction with a point; the text itself.
/// There is nothing before or after it. Fails with EVENT_ERROR_INVALID.
std::optional<Value> value_from_text(EventValueType type, const char *text,
				     GError **error);

/// A floating variant of type i, b, d or s.
GVariant *variant_of(const Value &value);

/// A floating variant of type a{sv}.
GVariant *variant_of(const Values &values);

} // namespace vxevent
