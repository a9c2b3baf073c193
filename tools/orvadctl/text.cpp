#include "text.h"

#include "util/glib-ptr.h"

namespace orvadctl
{

namespace
{

constexpr gunichar INVALID = static_cast<gunichar>(-1);

/// The first character of text and how many bytes it takes; INVALID and 1 for
/// a byte that starts no character.
struct Decoded {
	gunichar character;
	std::size_t length;
};

Decoded decode(std::string_view text)
{
	gunichar c = g_utf8_get_char_validated(
		text.data(), static_cast<gssize>(text.size()));
	// Negative answers: not a character, or one that is cut off.
	if (c >= static_cast<gunichar>(-2))
		return {INVALID, 1};
	return {c, static_cast<std::size_t>(g_utf8_next_char(text.data()) -
					    text.data())};
}

bool shows_as_itself(gunichar c)
{
	GUnicodeType type = g_unichar_type(c);

	return g_unichar_isprint(c) && type != G_UNICODE_LINE_SEPARATOR &&
	       type != G_UNICODE_PARAGRAPH_SEPARATOR;
}

std::string hex_escape(const char *introducer, int digits, gunichar value)
{
	util::CharPtr text(
		g_strdup_printf("\\%s%0*x", introducer, digits, value));

	return text.get();
}

std::string escape_character(gunichar c)
{
	switch (c) {
	case '\n':
		return "\\n";
	case '\r':
		return "\\r";
	case '\t':
		return "\\t";
	case '\\':
		return "\\\\";
	}
	if (c <= 0x7f)
		return hex_escape("x", 2, c);
	return c <= 0xffff ? hex_escape("u", 4, c) : hex_escape("U", 8, c);
}

std::string escape_json_character(gunichar c)
{
	if (c <= 0xffff)
		return hex_escape("u", 4, c);
	// JSON writes characters outside the basic plane as a surrogate pair.
	c -= 0x10000;
	return hex_escape("u", 4, 0xd800 + (c >> 10)) +
	       hex_escape("u", 4, 0xdc00 + (c & 0x3ff));
}

/// How many terminal columns a character takes.
std::size_t width_of(gunichar c)
{
	if (c == INVALID)
		return 1;
	if (g_unichar_iszerowidth(c))
		return 0;
	return g_unichar_iswide(c) ? 2 : 1;
}

} // namespace

std::string escape(std::string_view text)
{
	std::string result;

	while (!text.empty()) {
		auto [c, length] = decode(text);
		if (c == INVALID)
			result += hex_escape(
				"x", 2,
				static_cast<unsigned char>(text.front()));
		else if (c == '\\' || !shows_as_itself(c))
			result += escape_character(c);
		else
			result += text.substr(0, length);
		text.remove_prefix(length);
	}
	return result;
}

std::string quote(std::string_view text)
{
	std::string result = "\"";

	for (char c : escape(text)) {
		if (c == '"')
			result += '\\';
		result += c;
	}
	return result + '"';
}

std::string escape_json(std::string_view json)
{
	std::string result;

	while (!json.empty()) {
		auto [c, length] = decode(json);
		if (c == '\n' || c == '\t' || shows_as_itself(c))
			result += json.substr(0, length);
		else
			result += escape_json_character(c);
		json.remove_prefix(length);
	}
	return result;
}

std::size_t display_width(std::string_view text)
{
	std::size_t width = 0;

	while (!text.empty()) {
		Decoded next = decode(text);
		width += width_of(next.character);
		text.remove_prefix(next.length);
	}
	return width;
}

std::string clip(std::string_view text, std::size_t columns)
{
	std::size_t length = 0;

	while (length < text.size()) {
		Decoded next = decode(text.substr(length));
		std::size_t width = width_of(next.character);
		if (width > columns)
			break;
		columns -= width;
		length += next.length;
	}
	return std::string(text.substr(0, length));
}

} // namespace orvadctl
