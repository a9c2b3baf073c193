#include "completion.h"

#include "commands.h"

#include <algorithm>
#include <sstream>

namespace orvadctl
{

namespace
{

constexpr const char *END_OF_OPTIONS = "--";
constexpr const char *VALUE_SIGN = "=";

/// What an argument's name in a synopsis stands for. Any other is ANYTHING.
struct KnownArgument {
	const char *name;
	Place place;
};

constexpr KnownArgument KNOWN_ARGUMENTS[] = {
	{"PORT", Place::PORT},
	{"NAME", Place::PORT_NAME},
	{"PARAMETER", Place::PARAMETER},
	{"FILE", Place::FILE_NAME},
};

/// The line states that a range can be set for.
const std::vector<std::string> LINE_STATES = {"open", "closed", "short", "cut"};

/// A command line as far as it has been read.
struct Progress {
	const Command *command = nullptr;
	bool named = false;        ///< There is a command, known or not.
	std::size_t arguments = 0; ///< Of the command.
	bool options_ended = false;
	bool value_follows = false; ///< The one of the option before.
};

unsigned options_of(const Progress &progress)
{
	return progress.command ? progress.command->options : OPTIONS_COMMON;
}

bool is_option(const Progress &progress, const std::string &word)
{
	return !progress.options_ended && word.size() > 1 && word[0] == '-';
}

bool takes_value(const Progress &progress, const std::string &word)
{
	const auto options = known_options(options_of(progress));

	return std::any_of(options.begin(), options.end(),
			   [&word](const OptionName &option) {
				   return option.takes_value &&
					  (word == "--" + option.name ||
					   word == std::string("-") +
							   option.letter);
			   });
}

/// Reads a word that is not the last one.
void read_word(Progress &progress, const std::string &word)
{
	if (progress.value_follows) {
		progress.value_follows = word == VALUE_SIGN;
	} else if (word == END_OF_OPTIONS) {
		progress.options_ended = true;
	} else if (is_option(progress, word)) {
		progress.value_follows = takes_value(progress, word);
	} else if (progress.named) {
		++progress.arguments;
	} else {
		progress.command = find_command(word);
		progress.named = true;
		progress.options_ended = false;
	}
}

/// The synopsis' arguments, what is optional included: "PORT", "on|off".
std::vector<std::string> places_of(const Command &command)
{
	std::string synopsis = command.arguments;
	std::vector<std::string> places;

	std::erase_if(synopsis, [](char c) { return c == '[' || c == ']'; });
	std::istringstream stream(synopsis);
	for (std::string place; stream >> place;)
		places.push_back(place);
	return places;
}

std::vector<std::string> alternatives_of(const std::string &place)
{
	std::vector<std::string> words;
	std::istringstream stream(place);

	for (std::string word; std::getline(stream, word, '|');)
		words.push_back(word);
	return words;
}

Expectation named_argument(const std::string &name)
{
	if (name == "COMMAND")
		return {Place::WORDS, command_names()};
	if (name == "LEVEL")
		return {Place::WORDS, {"open", "closed"}};
	if (name == "STATE")
		return {Place::WORDS, LINE_STATES};
	// "FILE.vcd" is a FILE.
	const std::string kind = name.substr(0, name.find('.'));
	for (const KnownArgument &known : KNOWN_ARGUMENTS)
		if (kind == known.name)
			return {known.place, {}};
	return {};
}

Expectation argument_of(const Command &command, std::size_t index)
{
	std::vector<std::string> places = places_of(command);

	if (places.empty())
		return {};
	// "PORT...": any number of them.
	std::string &last = places.back();
	const bool repeated = last.ends_with("...");
	if (repeated)
		last.erase(last.find('.'));
	if (index >= places.size() && !repeated)
		return {};
	const std::string &place = places[std::min(index, places.size() - 1)];
	if (g_ascii_isupper(place.front()))
		return named_argument(place);
	return {Place::WORDS, alternatives_of(place)};
}

std::vector<std::string> option_words(unsigned accepted)
{
	std::vector<std::string> words;

	for (const OptionName &option : known_options(accepted)) {
		words.push_back("--" + option.name);
		if (option.letter != '\0')
			words.push_back(std::string("-") + option.letter);
	}
	return words;
}

Expectation expectation_at(const Progress &progress, const std::string &last)
{
	if (progress.value_follows)
		return {};
	if (!progress.options_ended && last.starts_with('-'))
		return {Place::WORDS, option_words(options_of(progress))};
	if (!progress.named)
		return {Place::WORDS, command_names()};
	if (!progress.command)
		return {};
	return argument_of(*progress.command, progress.arguments);
}

} // namespace

Expectation expectation_of(const std::vector<std::string> &words)
{
	Progress progress;

	if (words.empty())
		return {};
	for (auto word = words.begin(); word != words.end() - 1; ++word)
		read_word(progress, *word);
	Expectation expectation = expectation_at(progress, words.back());
	expectation.options_ended = progress.options_ended;
	return expectation;
}

} // namespace orvadctl
