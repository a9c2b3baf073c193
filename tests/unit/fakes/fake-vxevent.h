#pragma once

/// The event library in memory. What a producer is asked for is recorded as
/// "event_producer_<call>(argument)"; what a declaration was told, and what an
/// event carried, can be looked at. Any thread.

#include <vxevent.h>

#include <optional>
#include <string>
#include <vector>

namespace fake_vxevent
{

/// One line per thing told, in the order of the calls:
///     key port int 3              a key with a value
///     key state bool              a key without one
///     nice-names port "Port" -    a key's and a value's display name
///     name-space topic0 "tns1"
///     tag port "onvif-source"
///     property state
///     value state bool "1"        what an inspectable was filled with
using Lines = std::vector<std::string>;

/// An event as it was sent: "state bool 1", "state string open", or what its
/// inspectable was filled with, as above.
struct Sent {
	guint32 id;
	Lines values;
	bool operator==(const Sent &) const = default;
};

/// Every call of @p function fails from now on, until reset().
void fail(const std::string &function);

/// Declarations of that event type are a state to begin with.
void define_state_type(const std::string &type);

/// The live declarations, oldest first.
std::vector<guint32> declared();

/// What the declaration @p id was told, live or not; empty when there never
/// was one. A declaration from a type begins with "type <name>".
Lines contents(guint32 id);

/// What @p inspectable was filled with so far.
Lines filled(const Inspectable *inspectable);

/// The events that were sent, oldest first.
std::vector<Sent> sent();

/// Asks the getter of the live declaration @p id; none when it has no value,
/// or when there is no getter.
std::optional<Lines> ask(guint32 id);

/// How many declarations and events have been made and not freed.
int objects();

/// Forgets everything but what is live: the ids go on, and a declaration that
/// the code under test holds on to stays.
void reset();

} // namespace fake_vxevent
