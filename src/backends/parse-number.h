#pragma once

/// Numbers of the configuration. A text that is no number stands for 0; one
/// that does not fit into 32 bits for the nearest number that does.

#include <glib.h>

namespace backend
{

constexpr unsigned kDecimal = 10;
constexpr unsigned kHexadecimal = 16;
/// Decimal, "0x" hexadecimal or leading-0 octal.
constexpr unsigned kAnyBase = 0;

gint32 parse_int(const char *text, unsigned base);

/// A negative number that fits into 32 bits wraps.
guint32 parse_uint(const char *text, unsigned base);

} // namespace backend
