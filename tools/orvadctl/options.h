#pragma once

/// The command line: options, the command's name, its arguments.

#include <glib.h>

#include <string>
#include <vector>

namespace orvadctl
{

/// Options that only some commands take; a set of bits.
enum OptionSet : unsigned {
	OPTIONS_COMMON = 0,
	OPTION_NAMES = 1 << 0,
	OPTION_VIRTUAL = 1 << 1,
	OPTION_NO_WAIT = 1 << 2,
	OPTION_COUNT = 1 << 3,
	OPTION_LIVE = 1 << 4,
	OPTION_LINES = 1 << 5,
	OPTION_FOR = 1 << 6
};

constexpr gint DEFAULT_TIMEOUT_MS = 25000;

struct Options {
	bool help = false;
	bool version = false;
	bool json = false;
	gint timeout_ms = DEFAULT_TIMEOUT_MS; ///< For one call.
	bool names = false;
	bool simulate = false; ///< --virtual
	bool no_wait = false;
	guint count = 0; ///< 0: without end.
	bool live = false;
	bool lines = false;
	gint duration_ms = 0; ///< --for; 0: without end.
	/// What is not an option, in order.
	std::vector<std::string> arguments;
};

/// Reads the options that may stand before the command's name. The first text
/// that is not an option ends them; it and the rest are left in arguments.
bool parse_leading_options(const std::vector<std::string> &words,
			   Options &options, GError **error);

/// Reads the options of a command, which may stand anywhere among its
/// arguments; "--" ends them. options.arguments is replaced.
/// @param words what follows the command's name.
/// @param accepted the options that it takes besides the common ones.
bool parse_command_options(const std::vector<std::string> &words,
			   unsigned accepted, Options &options, GError **error);

struct OptionName {
	std::string name; ///< Without the dashes.
	char letter;      ///< 0: none.
	bool takes_value;
};

/// The common options, and those in accepted.
std::vector<OptionName> known_options(unsigned accepted);

/// A description of the common options, respectively of those in accepted too,
/// a line each.
std::string options_help(unsigned accepted);

} // namespace orvadctl
