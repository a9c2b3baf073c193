#include "vcd-names.h"

#include <algorithm>
#include <set>

namespace orvadctl
{

namespace
{

constexpr char FIRST_CODE = '!';
constexpr char LAST_CODE = '~';
constexpr std::size_t CODES = LAST_CODE - FIRST_CODE + 1;
constexpr const char *NAMELESS = "port_";

/// The bytes of one character behind its first.
bool continues_character(char c)
{
	return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

std::string clean(const std::string &name)
{
	std::string result;

	for (char c : name) {
		if (g_ascii_isalnum(c))
			result += c;
		else if (!continues_character(c))
			result += '_';
	}
	if (result.empty() || g_ascii_isdigit(result.front()))
		result.insert(0, NAMELESS);
	return result;
}

/// The number, without a sign that a name must not have.
std::string number_suffix(gint32 number)
{
	std::string text = std::to_string(number);

	std::replace(text.begin(), text.end(), '-', 'm');
	return text;
}

std::string base_name(gint32 number, const std::string &name)
{
	return name.empty() ? NAMELESS + number_suffix(number) : clean(name);
}

} // namespace

/// Digits of base 94 without a zero: after the last code of one character
/// comes the first of two.
std::string vcd_identifier_code(std::size_t index)
{
	std::string code;

	for (++index; index > 0; index = (index - 1) / CODES)
		code += static_cast<char>(FIRST_CODE + (index - 1) % CODES);
	return code;
}

std::vector<std::string>
vcd_reference_names(const std::vector<std::pair<gint32, std::string>> &ports)
{
	std::vector<std::string> names;
	std::set<std::string> used;

	for (const auto &[number, name] : ports) {
		std::string candidate = base_name(number, name);
		while (!used.insert(candidate).second)
			candidate += "_" + number_suffix(number);
		names.push_back(std::move(candidate));
	}
	return names;
}

} // namespace orvadctl
