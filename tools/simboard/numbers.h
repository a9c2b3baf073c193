#pragma once

/// Numbers as the board file and the commands have them.

#include <glib.h>

#include <string>

namespace simboard
{

/// Reads a decimal number, or a hexadecimal one with 0x before it.
/// @param error of GLib's number parser, when it is none or out of range.
bool parse_unsigned(const std::string &text, guint64 least, guint64 most,
		    guint64 &number, GError **error = nullptr);

/// Reads a decimal number, which may be below 0.
bool parse_signed(const std::string &text, gint64 least, gint64 most,
		  gint64 &number, GError **error = nullptr);

/// An address on a bus as it is shown: 0x and two digits.
std::string address_text(unsigned address);

} // namespace simboard
