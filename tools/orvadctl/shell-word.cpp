#include "shell-word.h"

#include <glib.h>

#include <algorithm>
#include <string_view>

namespace orvadctl
{

namespace
{

constexpr char ESCAPE = '\\';
constexpr char SINGLE_QUOTE = '\'';
constexpr char DOUBLE_QUOTE = '"';

/// What a backslash makes ordinary within double quotes.
constexpr std::string_view SPECIAL_IN_DOUBLE_QUOTES = "$`\"\\";
/// What cannot stand within quotes without ending or changing them; "!" recalls
/// an earlier command.
constexpr std::string_view NOT_IN_DOUBLE_QUOTES = "$`\"\\!";
constexpr std::string_view NOT_IN_SINGLE_QUOTES = "'";
/// What needs no backslash outside of quotes, besides letters and digits.
constexpr std::string_view PLAIN = "_-./,+%";

bool is_quote(char c)
{
	return c == SINGLE_QUOTE || c == DOUBLE_QUOTE;
}

/// Whether a backslash before c goes away.
bool is_escapable(char quote, char c)
{
	if (quote == SINGLE_QUOTE)
		return false;
	return quote != DOUBLE_QUOTE || SPECIAL_IN_DOUBLE_QUOTES.find(c) !=
						SPECIAL_IN_DOUBLE_QUOTES.npos;
}

bool is_plain(char c)
{
	// Whatever is beyond ASCII means nothing to a shell.
	return !g_ascii_isprint(c) || g_ascii_isalnum(c) ||
	       PLAIN.find(c) != PLAIN.npos;
}

std::string with_backslashes(const std::string &text)
{
	std::string word;

	for (char c : text) {
		if (!is_plain(c))
			word += ESCAPE;
		word += c;
	}
	return word;
}

bool is_line(const std::string &text)
{
	return g_utf8_validate(text.c_str(), -1, nullptr) &&
	       std::none_of(text.begin(), text.end(),
			    [](char c) { return g_ascii_iscntrl(c); });
}

} // namespace

std::string shell_unquote(const std::string &word)
{
	std::string text;
	char quote = '\0';

	for (std::size_t i = 0; i < word.size(); ++i) {
		const char c = word[i];
		if (c == ESCAPE && i + 1 < word.size() &&
		    is_escapable(quote, word[i + 1]))
			text += word[++i];
		else if (quote != '\0' ? c == quote : is_quote(c))
			quote = quote != '\0' ? '\0' : c;
		else
			text += c;
	}
	return text;
}

std::optional<std::string> shell_completion(const std::string &typed,
					    const std::string &text)
{
	if (!text.starts_with(shell_unquote(typed)) || !is_line(text))
		return std::nullopt;
	if (typed.empty() || !is_quote(typed.front()))
		return with_backslashes(text);
	std::string_view impossible = typed.front() == SINGLE_QUOTE
					      ? NOT_IN_SINGLE_QUOTES
					      : NOT_IN_DOUBLE_QUOTES;
	if (text.find_first_of(impossible) != text.npos)
		return std::nullopt;
	return text;
}

} // namespace orvadctl
