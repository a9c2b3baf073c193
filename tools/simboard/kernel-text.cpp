#include "kernel-text.h"

#include "attribute.h"
#include "util/glib-ptr.h"

#include <cerrno>

namespace simboard
{

namespace
{

constexpr unsigned BASE_TEN = 10;

/// Adds a digit as an int of the kernel's does, which wraps around.
void append_digit(unsigned &number, char digit)
{
	number = number * BASE_TEN + static_cast<unsigned>(digit - '0');
}

int as_int(unsigned number)
{
	return static_cast<int>(number);
}

bool take_sign(std::string_view &text)
{
	bool negative = text.starts_with('-');

	if (negative || text.starts_with('+'))
		text.remove_prefix(1);
	return negative;
}

} // namespace

int parse_flag(std::string_view text, bool &flag)
{
	char first = text.empty() ? '\0' : text[0];
	char second = text.size() < 2 ? '\0' : text[1];

	if (std::string_view("yYtT1").find(first) != std::string_view::npos)
		flag = true;
	else if (std::string_view("nNfF0").find(first) !=
		 std::string_view::npos)
		flag = false;
	else if (g_ascii_tolower(first) == 'o' &&
		 g_ascii_tolower(second) == 'n')
		flag = true;
	else if (g_ascii_tolower(first) == 'o' &&
		 g_ascii_tolower(second) == 'f')
		flag = false;
	else
		return EINVAL;
	return 0;
}

int parse_decimal(std::string_view text, unsigned &number)
{
	std::string digits(trim_line(text));
	guint64 value = 0;
	util::Error error;

	if (digits.starts_with('+'))
		digits.erase(0, 1);
	if (!g_ascii_string_to_unsigned(digits.c_str(), BASE_TEN, 0, G_MAXUINT,
					&value, &error))
		return g_error_matches(error.get(), G_NUMBER_PARSER_ERROR,
				       G_NUMBER_PARSER_ERROR_OUT_OF_BOUNDS)
			       ? ERANGE
			       : EINVAL;
	number = static_cast<unsigned>(value);
	return 0;
}

int parse_fixpoint(std::string_view text, int scale, Fixpoint &number)
{
	unsigned integer = 0, fraction = 0;
	bool in_integer = true;
	bool negative = take_sign(text);

	for (char c : trim_line(text)) {
		if (c == '.' && in_integer) {
			in_integer = false;
		} else if (!g_ascii_isdigit(c)) {
			return EINVAL;
		} else if (in_integer) {
			append_digit(integer, c);
		} else {
			fraction += static_cast<unsigned>(scale * (c - '0'));
			scale /= as_int(BASE_TEN);
		}
	}
	// The sign is the integer's, or the fraction's when that is all.
	if (negative && integer != 0)
		integer = -integer;
	else if (negative)
		fraction = -fraction;
	number = {as_int(integer), as_int(fraction)};
	return 0;
}

std::string micro_text(const Fixpoint &number)
{
	bool negative = number.fraction < 0;
	util::CharPtr text(g_strdup_printf("%s%d.%06u", negative ? "-" : "",
					   number.integer,
					   ABS(number.fraction)));

	return text.get();
}

} // namespace simboard
