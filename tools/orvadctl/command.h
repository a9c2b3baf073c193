#pragma once

/// A command of the client. One source per command or small group; the table
/// in commands.cpp lists them all, and the help is printed from it.

#include "bus.h"
#include "options.h"
#include "output.h"
#include "supervised-bus.h"

#include <string>

namespace orvadctl
{

/// What a command works with.
struct Context {
	const Options &options;
	Output &output;
};

struct Command {
	const char *name;
	const char *arguments; ///< As the help shows them.
	const char *summary;   ///< One line, for the list of commands.
	const char *details;   ///< Paragraphs; documents the JSON output.
	unsigned options;      ///< OptionSet bits that it takes.
	std::size_t least_arguments;
	std::size_t most_arguments;
	/// Does the work. False with error set when that failed.
	bool (*run)(Context &context, GError **error);
};

constexpr std::size_t ANY_NUMBER = static_cast<std::size_t>(-1);

/// The daemon, its ports and the one that the first argument means.
struct Target {
	StatePtr daemon;
	std::vector<Port> ports;
	const Port *port = nullptr; ///< One of ports.
};

/// Opens the daemon and looks the port up.
bool find_target(const Context &context, Target &target, GError **error);

/// The same for a command that acts on the port by its number: the daemon must
/// find this very port by it.
bool find_reachable_target(const Context &context, Target &target,
			   GError **error);

/// A target and the daemon's interface for supervised inputs.
struct SupervisedTarget : Target {
	SupervisedPtr supervised;
};

/// The same as find_reachable_target(), and opens that interface.
bool find_supervised_target(const Context &context, SupervisedTarget &target,
			    GError **error);

/// Whether a change of the port is to be simulated: asked for with --virtual,
/// or the only way, since the port has no hardware.
bool is_simulated(const Context &context, const Port &port);

extern const Command LIST_COMMAND;
extern const Command GET_COMMAND;
extern const Command SET_COMMAND;
extern const Command STATE_COMMAND;
extern const Command DIRECTION_COMMAND;
extern const Command POLARITY_COMMAND;
extern const Command NAME_COMMAND;
extern const Command USAGE_COMMAND;
extern const Command COUNT_COMMAND;
extern const Command PULSE_COMMAND;
extern const Command WATCH_COMMAND;
extern const Command RECORD_COMMAND;
extern const Command EVENTS_COMMAND;
extern const Command DECLARATIONS_COMMAND;
extern const Command SETTINGS_COMMAND;
extern const Command SUPERVISE_COMMAND;
extern const Command RANGES_COMMAND;
extern const Command READOUT_COMMAND;
extern const Command TRIGGERS_COMMAND;
extern const Command CONNECTORS_COMMAND;
extern const Command SNMP_COMMAND;
extern const Command LEGACY_COMMAND;
extern const Command DROP_COMMAND;
extern const Command REFRESH_COMMAND;
extern const Command COMPLETE_COMMAND;

} // namespace orvadctl
