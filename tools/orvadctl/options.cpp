#include "options.h"

#include "arguments.h"
#include "error.h"
#include "table.h"
#include "util/glib-ptr.h"

namespace orvadctl
{

namespace
{

using OptionContextPtr = util::Handle<GOptionContext, g_option_context_free>;

/// What GLib's parser fills in.
struct Raw {
	gboolean help = FALSE;
	gboolean version = FALSE;
	gboolean json = FALSE;
	gboolean names = FALSE;
	gboolean simulate = FALSE;
	gboolean no_wait = FALSE;
	gboolean live = FALSE;
	gboolean lines = FALSE;
	char *timeout = nullptr;
	char *count = nullptr;
	char *duration = nullptr;
	char **rest = nullptr;

	Raw() = default;
	Raw(const Raw &) = delete;
	Raw &operator=(const Raw &) = delete;
	~Raw()
	{
		g_free(timeout);
		g_free(count);
		g_free(duration);
		g_strfreev(rest);
	}
};

struct KnownOption {
	unsigned needs; ///< The OptionSet bit; OPTIONS_COMMON: always there.
	const char *name;
	char letter; ///< 0: none
	gboolean Raw::*flag;
	char *Raw::*text; ///< Instead of flag: where its value goes.
	const char *value_name;
	const char *description;
};

constexpr KnownOption KNOWN_OPTIONS[] = {
	{OPTION_NAMES, "names", 0, &Raw::names, nullptr, nullptr,
	 "also ask for the names that the user gave"},
	{OPTION_VIRTUAL, "virtual", 0, &Raw::simulate, nullptr, nullptr,
	 "simulate the change, leave the hardware alone"},
	{OPTION_NO_WAIT, "no-wait", 0, &Raw::no_wait, nullptr, nullptr,
	 "do not wait for the end of the sequence"},
	{OPTION_LIVE, "live", 0, &Raw::live, nullptr, nullptr,
	 "go on showing it as it changes"},
	{OPTION_LINES, "lines", 0, &Raw::lines, nullptr, nullptr,
	 "write lines on a terminal, too"},
	{OPTION_FOR, "for", 0, nullptr, &Raw::duration, "SECONDS",
	 "end after that time"},
	{OPTION_COUNT, "count", 'n', nullptr, &Raw::count, "N",
	 "end after N of them"},
	{OPTIONS_COMMON, "json", 'j', &Raw::json, nullptr, nullptr,
	 "write JSON"},
	{OPTIONS_COMMON, "timeout", 't', nullptr, &Raw::timeout, "SECONDS",
	 "how long to wait for an answer (25)"},
	{OPTIONS_COMMON, "help", 'h', &Raw::help, nullptr, nullptr,
	 "explain the program or the command"},
	{OPTIONS_COMMON, "version", 0, &Raw::version, nullptr, nullptr,
	 "tell the version"},
};

bool accepts(unsigned accepted, const KnownOption &option)
{
	return option.needs == OPTIONS_COMMON || (option.needs & accepted);
}

GOptionEntry make_entry(const KnownOption &option, Raw &raw)
{
	GOptionEntry entry = {};

	entry.long_name = option.name;
	entry.short_name = option.letter;
	entry.arg = option.text ? G_OPTION_ARG_STRING : G_OPTION_ARG_NONE;
	if (option.text)
		entry.arg_data = &(raw.*option.text);
	else
		entry.arg_data = &(raw.*option.flag);
	return entry;
}

GOptionEntry make_rest_entry(Raw &raw)
{
	GOptionEntry entry = {};

	entry.long_name = G_OPTION_REMAINING;
	// Names come as they are: a text argument would have to be valid in
	// the locale's character set.
	entry.arg = G_OPTION_ARG_FILENAME_ARRAY;
	entry.arg_data = &raw.rest;
	return entry;
}

OptionContextPtr make_context(unsigned accepted, Raw &raw)
{
	OptionContextPtr context(g_option_context_new(nullptr));
	std::vector<GOptionEntry> entries;

	for (const KnownOption &option : KNOWN_OPTIONS)
		if (accepts(accepted, option))
			entries.push_back(make_entry(option, raw));
	entries.push_back(make_rest_entry(raw));
	entries.push_back({});
	g_option_context_set_help_enabled(context.get(), FALSE);
	g_option_context_add_main_entries(context.get(), entries.data(),
					  nullptr);
	return context;
}

/// Runs GLib's parser over a copy of words, behind a program name.
bool run_parser(GOptionContext *context, const std::vector<std::string> &words,
		GError **error)
{
	char **copy = g_new0(char *, words.size() + 2);
	util::Error parse_error;

	copy[0] = g_strdup("orvadctl");
	for (std::size_t i = 0; i < words.size(); ++i)
		copy[i + 1] = g_strdup(words[i].c_str());
	bool parsed = g_option_context_parse_strv(context, &copy, &parse_error);
	g_strfreev(copy);
	if (!parsed)
		set_usage_error(error, "%s", parse_error.message());
	return parsed;
}

/// Takes the seconds that were given to an option, if any.
bool take_seconds(const char *option, const char *text, gint &ms,
		  GError **error)
{
	if (!text)
		return true;
	auto taken = parse_timeout(text);
	if (!taken) {
		set_usage_error(error,
				"%s takes seconds, 0.001 to 86400, not \"%s\"",
				option, text);
		return false;
	}
	ms = *taken;
	return true;
}

bool take_values(const Raw &raw, Options &options, GError **error)
{
	if (!take_seconds("--timeout", raw.timeout, options.timeout_ms,
			  error) ||
	    !take_seconds("--for", raw.duration, options.duration_ms, error))
		return false;
	if (raw.count) {
		auto count = parse_count(raw.count);
		if (!count) {
			set_usage_error(error,
					"--count takes a number from 1, not "
					"\"%s\"",
					raw.count);
			return false;
		}
		options.count = *count;
	}
	return true;
}

/// Options given before the command's name hold as well as those after it.
void take_flags(const Raw &raw, Options &options)
{
	options.help |= raw.help != FALSE;
	options.version |= raw.version != FALSE;
	options.json |= raw.json != FALSE;
	options.names |= raw.names != FALSE;
	options.simulate |= raw.simulate != FALSE;
	options.no_wait |= raw.no_wait != FALSE;
	options.live |= raw.live != FALSE;
	options.lines |= raw.lines != FALSE;
	options.arguments.clear();
	for (char **word = raw.rest; word && *word; ++word)
		options.arguments.emplace_back(*word);
}

std::string option_synopsis(const KnownOption &option)
{
	std::string text = option.letter != 0
				   ? std::string("  -") + option.letter + ", "
				   : "      ";

	text += std::string("--") + option.name;
	return option.value_name ? text + " " + option.value_name : text;
}

} // namespace

bool parse_leading_options(const std::vector<std::string> &words,
			   Options &options, GError **error)
{
	Raw raw;
	OptionContextPtr context = make_context(OPTIONS_COMMON, raw);

	g_option_context_set_strict_posix(context.get(), TRUE);
	if (!run_parser(context.get(), words, error))
		return false;
	take_flags(raw, options);
	return take_values(raw, options, error);
}

bool parse_command_options(const std::vector<std::string> &words,
			   unsigned accepted, Options &options, GError **error)
{
	Raw raw;
	OptionContextPtr context = make_context(accepted, raw);

	if (!run_parser(context.get(), words, error))
		return false;
	take_flags(raw, options);
	return take_values(raw, options, error);
}

std::vector<OptionName> known_options(unsigned accepted)
{
	std::vector<OptionName> options;

	for (const KnownOption &option : KNOWN_OPTIONS)
		if (accepts(accepted, option))
			options.push_back({option.name, option.letter,
					   option.text != nullptr});
	return options;
}

std::string options_help(unsigned accepted)
{
	Table table;

	for (const KnownOption &option : KNOWN_OPTIONS)
		if (accepts(accepted, option))
			table.add_row({option_synopsis(option),
				       std::string(option.description)});
	table.add_row({std::string("      --"),
		       std::string("no options after it: a number may be "
				   "negative")});
	return table.text(false);
}

} // namespace orvadctl
