#pragma once

/// How the samples of a converter of the kernel's Industrial I/O lie in memory
/// (struct iio_scan_type of Linux 6.1, include/linux/iio/iio.h).

#include <glib.h>

#include <string>
#include <vector>

namespace simboard
{

struct ScanType {
	static constexpr unsigned MOST_BITS = 32;
	static constexpr unsigned MOST_STORAGE = 64;
	static constexpr unsigned BYTE = 8; ///< Bits.

	bool big_endian = false;
	bool is_signed = false;
	unsigned bits = 12;    ///< Of a value, 1 to MOST_BITS.
	unsigned storage = 16; ///< Of a sample, in whole bytes.
	unsigned shift = 0;    ///< From the value to the sample.
	/// Whether the bits of a sample that are not the value's are ones.
	bool ones_around = false;

	/// The values that fit.
	gint64 lowest() const;
	gint64 highest() const;
	/// Bytes of a sample.
	std::size_t size() const;
};

/// As a type attribute shows it: "le:u12/16>>4".
std::string scan_type_text(const ScanType &type);

/// A sample as it lies in memory.
/// @param value one that fits.
std::string encode_sample(const ScanType &type, gint64 value);

} // namespace simboard
