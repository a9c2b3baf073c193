#include "bus.h"
#include "command.h"
#include "completion.h"
#include "legacy-mapping-file.h"
#include "shell-word.h"
#include "util/paths.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

/// The user waits for it with every key.
constexpr gint LONGEST_WAIT_MS = 1000;

/// Stands for the names of files, which the shell knows best.
constexpr const char *FILE_NAMES = "/";

using Candidates = std::vector<std::string>;

void add_port_words(const Context &context, bool numbers,
		    Candidates &candidates)
{
	StatePtr daemon = open_daemon(
		std::min(context.options.timeout_ms, LONGEST_WAIT_MS), nullptr);
	std::vector<Port> ports;

	if (!daemon || !fetch_ports(daemon.get(), ports, nullptr))
		return;
	for (const Port &port : ports) {
		if (!port.name.empty())
			candidates.push_back(port.name);
		if (numbers && reached_port(ports, port.number) == &port)
			candidates.push_back(std::to_string(port.number));
	}
}

void add_parameters(Candidates &candidates)
{
	std::vector<LegacyParameter> parameters;

	if (read_legacy_mapping(util::kLegacyMappingFile, parameters, nullptr))
		for (const LegacyParameter &parameter : parameters)
			candidates.push_back(parameter.label());
}

Candidates find_candidates(const Context &context,
			   const Expectation &expectation)
{
	Candidates candidates = expectation.words;

	switch (expectation.place) {
	case Place::PORT:
		add_port_words(context, true, candidates);
		break;
	case Place::PORT_NAME:
		add_port_words(context, false, candidates);
		break;
	case Place::PARAMETER:
		add_parameters(candidates);
		break;
	default:
		break;
	}
	// What looks like an option has to be one.
	if (expectation.place != Place::WORDS && !expectation.options_ended)
		std::erase_if(candidates, [](const std::string &candidate) {
			return candidate.starts_with('-');
		});
	return candidates;
}

/// What cannot be found out is left out: a shell that is asked while a line is
/// being typed is no place for messages.
bool run_complete(Context &context, GError **)
{
	const std::vector<std::string> &typed = context.options.arguments;
	std::vector<std::string> words;

	std::transform(typed.begin(), typed.end(), std::back_inserter(words),
		       shell_unquote);
	const Expectation expectation = expectation_of(words);
	if (expectation.place == Place::FILE_NAME)
		context.output.line(FILE_NAMES);
	for (const std::string &candidate :
	     find_candidates(context, expectation))
		if (auto word = shell_completion(typed.back(), candidate))
			context.output.line(*word);
	return true;
}

} // namespace

const Command COMPLETE_COMMAND = {
	"complete",
	"WORD...",
	"tell a shell how a command line can go on",
	"Prints what can replace the last WORD, a line each; the WORDs are "
	"what\n"
	"stands behind the program's name, as it was typed. A line of a slash "
	"stands\n"
	"for the names of files.",
	OPTIONS_COMMON,
	1,
	ANY_NUMBER,
	run_complete,
};

} // namespace orvadctl
