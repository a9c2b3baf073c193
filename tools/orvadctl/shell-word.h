#pragma once

/// Words as they are typed in a shell: with quotes and backslashes.

#include <optional>
#include <string>

namespace orvadctl
{

/// The text that a word means. A quote that is not closed ends with the word;
/// nothing is expanded.
std::string shell_unquote(const std::string &word);

/// How to go on from a word that is being typed to get text: what replaces it,
/// without the quote that it begins with. Nothing when text does not begin with
/// what the word means, or cannot be typed in one line.
std::optional<std::string> shell_completion(const std::string &typed,
					    const std::string &text);

} // namespace orvadctl
