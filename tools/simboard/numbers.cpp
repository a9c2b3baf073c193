#include "numbers.h"

#include "util/glib-ptr.h"

#include <cstring>

namespace simboard
{

namespace
{

constexpr const char *HEX_PREFIX = "0x";
constexpr guint DECIMAL = 10;
constexpr guint HEXADECIMAL = 16;

} // namespace

bool parse_unsigned(const std::string &text, guint64 least, guint64 most,
		    guint64 &number, GError **error)
{
	bool hex = text.starts_with(HEX_PREFIX);
	const char *digits = text.c_str() + (hex ? strlen(HEX_PREFIX) : 0);

	return g_ascii_string_to_unsigned(digits, hex ? HEXADECIMAL : DECIMAL,
					  least, most, &number, error);
}

bool parse_signed(const std::string &text, gint64 least, gint64 most,
		  gint64 &number, GError **error)
{
	return g_ascii_string_to_signed(text.c_str(), DECIMAL, least, most,
					&number, error);
}

std::string address_text(unsigned address)
{
	util::CharPtr text(g_strdup_printf("0x%02x", address));

	return text.get();
}

} // namespace simboard
