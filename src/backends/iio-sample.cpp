#include "backends/iio-sample.h"

#include <cstdio>

namespace
{

constexpr unsigned kWordBits = 32;
constexpr unsigned kByteBits = 8;

guint32 assemble(bool big_endian, const guint8 *bytes, size_t count)
{
	guint32 value = 0;
	if (count > kIioLargestSample)
		return value;
	for (size_t i = 0; i < count; ++i)
		value = value << kByteBits |
			bytes[big_endian ? i : count - 1 - i];
	return value;
}

/// Keeps the low bits and, of a signed number, what the top one of them says.
guint32 keep_bits(guint32 value, const IioType &type)
{
	if (type.bits >= kWordBits)
		return value;
	const guint32 mask = (guint32{1} << type.bits) - 1;
	const guint32 top = mask - (mask >> 1);
	const bool negative = type.sign == 's' && (value & top) != 0;
	return negative ? value | ~mask : value & mask;
}

} // namespace

std::optional<IioType> iio_parse_type(const std::string &text)
{
	IioType type;
	if (std::sscanf(text.c_str(), "%ce:%c%u/%u>>%u", &type.endianness,
			&type.sign, &type.bits, &type.size, &type.shift) < 1)
		return std::nullopt;
	return type;
}

gint32 iio_decode(const IioType &type, const guint8 *bytes, size_t count,
		  gint32 value_shift)
{
	const guint32 raw = assemble(type.endianness == 'b', bytes, count);
	const guint32 value =
		keep_bits(raw >> iio_shift_count(type.shift), type);
	return static_cast<gint32>(value) >>
	       iio_shift_count(static_cast<unsigned>(value_shift));
}
