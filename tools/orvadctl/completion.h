#pragma once

/// What may stand at the end of a command line that is being typed, as the
/// table of commands and their synopses say. Pure: nobody is asked.

#include <string>
#include <vector>

namespace orvadctl
{

/// What a place of a command line takes.
enum class Place {
	ANYTHING,  ///< Nothing is known about it.
	WORDS,     ///< One of some words.
	PORT,      ///< A port's number or configuration name.
	PORT_NAME, ///< A port's configuration name.
	PARAMETER, ///< A parameter of the older configuration system.
	FILE_NAME
};

struct Expectation {
	Place place = Place::ANYTHING;
	std::vector<std::string> words; ///< For WORDS.
	/// A word that begins with "-" is no option here.
	bool options_ended = false;
};

/// What the last of the words can be.
/// @param words what is behind the program's name, as texts; the last one is
/// being typed and may be empty. A shell may have put "=" between an option and
/// its value by itself.
Expectation expectation_of(const std::vector<std::string> &words);

} // namespace orvadctl
