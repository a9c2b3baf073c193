#pragma once

/// The command line of a setting that a port has as input and as output:
/// PORT [input|output VALUE].

#include "command.h"

#include <optional>
#include <string>

namespace orvadctl
{

/// What is to be set.
struct SideSetting {
	bool input = false; ///< For which side.
	std::string value;
};

constexpr std::size_t MOST_SIDE_SETTING_ARGUMENTS = 3;

/// Reads what is behind PORT; nothing is there when the setting is only to be
/// shown. False with error set when the words are wrong, or the value can be no
/// text on the bus.
/// @param value the value's name in the command's synopsis.
bool parse_side_setting(const Context &context, const char *value,
			std::optional<SideSetting> &setting, GError **error);

/// The daemon's method for a setting, as its proxy has it.
using SideCall = gboolean (*)(IOControlState *daemon, guint port,
			      gboolean input, const char *value,
			      GCancellable *cancellable, GError **error);

/// Has the daemon change the setting of the target's port.
bool change_side_setting(const Target &target, const SideSetting &setting,
			 SideCall call, GError **error);

/// False with error set when text cannot be sent as a text.
bool check_text(const std::string &text, GError **error);

} // namespace orvadctl
