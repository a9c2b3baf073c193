#pragma once

/// One thing that a port announced, and how it is shown.

#include "output.h"

#include <glib.h>

#include <string>

namespace orvadctl
{

struct Change {
	enum class Kind { CHANGED, SEQUENCE_DONE };

	Kind kind = Kind::CHANGED;
	gint32 number = -1;
	// Of a change only:
	bool is_virtual = false;
	bool hidden = false;
	bool input = false;
	bool simulated = false;
	bool active = false;
	bool open = false;
};

/// The arguments of PortChanged, which must have the type PORT_CHANGED_TYPE.
constexpr const char *PORT_CHANGED_TYPE = "(ibbbbbb)";
Change change_from_port_changed(GVariant *arguments);

/// The arguments of ActionSequenceDone, of the type SEQUENCE_DONE_TYPE.
constexpr const char *SEQUENCE_DONE_TYPE = "(i)";
Change change_from_sequence_done(GVariant *arguments);

/// A line for a person.
/// @param name the port's configuration name, empty when it is not known.
std::string change_text(const Change &change, const std::string &name,
			GDateTime *time, const Output &output);

/// A line for a program.
std::string change_json(const Change &change, const std::string &name,
			GDateTime *time);

} // namespace orvadctl
