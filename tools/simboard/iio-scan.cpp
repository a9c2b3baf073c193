#include "iio-scan.h"

#include "util/glib-ptr.h"

#include <algorithm>

namespace simboard
{

namespace
{

/// That many ones at the low end; at most 64.
guint64 ones(unsigned count)
{
	return count == 0 ? 0 : G_MAXUINT64 >> (ScanType::MOST_STORAGE - count);
}

} // namespace

gint64 ScanType::lowest() const
{
	return is_signed ? -(gint64{1} << (bits - 1)) : 0;
}

gint64 ScanType::highest() const
{
	return static_cast<gint64>(ones(is_signed ? bits - 1 : bits));
}

std::size_t ScanType::size() const
{
	return storage / ScanType::BYTE;
}

std::string scan_type_text(const ScanType &type)
{
	util::CharPtr text(
		g_strdup_printf("%s:%c%u/%u>>%u", type.big_endian ? "be" : "le",
				type.is_signed ? 's' : 'u', type.bits,
				type.storage, type.shift));

	return text.get();
}

std::string encode_sample(const ScanType &type, gint64 value)
{
	guint64 mask = ones(type.bits) << type.shift;
	guint64 word = (static_cast<guint64>(value) << type.shift) & mask;
	std::string sample;

	if (type.ones_around)
		word |= ~mask;
	for (unsigned place = 0; place < type.storage; place += ScanType::BYTE)
		sample += static_cast<char>(word >> place);
	if (type.big_endian)
		std::reverse(sample.begin(), sample.end());
	return sample;
}

} // namespace simboard
