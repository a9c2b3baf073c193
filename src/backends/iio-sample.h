#pragma once

/// Samples as a converter's buffer gives them (Documentation/ABI/testing/
/// sysfs-bus-iio, scan_elements/in_voltageY_type).

#include <glib.h>

#include <cstddef>
#include <optional>
#include <string>

/// How a channel's samples are stored.
struct IioType {
	/// 'b' or 'l'.
	char endianness = 0;
	/// 's' or 'u'.
	char sign = 0;
	/// Significant bits.
	unsigned bits = 0;
	/// Bits of storage.
	unsigned size = 0;
	/// How far the significant bits are to be shifted right.
	unsigned shift = 0;
};

/// How far a shift by a configured number goes: as the instructions of 32-bit
/// processors count, by its low five bits.
constexpr unsigned iio_shift_count(unsigned shift)
{
	return shift % 32;
}

/// The most bytes that a sample can have.
constexpr size_t kIioLargestSample = 4;

/// Reads "[be|le]:[s|u]<bits>/<size>>><shift>"; fields from the first one on
/// that does not fit are 0. None when not even the first one fits.
std::optional<IioType> iio_parse_type(const std::string &text);

/// The value of a sample of @p count bytes; 0 for a count that is not 1 to 4.
/// @param value_shift a further arithmetic shift to the right. Of both shifts
///     the low five bits count.
gint32 iio_decode(const IioType &type, const guint8 *bytes, size_t count,
		  gint32 value_shift);
