#pragma once

/// The event service on the bus: its producers and what they have declared.

#include "declaration.h"

#include <gio/gio.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace orvadctl
{

constexpr const char *EVENTS_NAME = "org.orvad.Events1";
constexpr const char *EVENTS_ROOT = "/org/orvad/Events1";
constexpr const char *PRODUCER_INTERFACE = "org.orvad.Events1.Producer";

/// A question to the event service.
struct EventServiceCall {
	std::string path;
	const char *interface;
	const char *method;
	const char *answer_type;
};

/// Asks who produces events; see producers_from_answer().
EventServiceCall producers_call();
/// Asks a producer for its live declarations; see declarations_from_answer().
EventServiceCall declarations_call(const std::string &producer);

/// The names of the producers. False with error set when the answer cannot be
/// read.
/// @param answer of the type that the call names; so below.
bool producers_from_answer(GVariant *answer,
			   std::vector<std::string> &producers, GError **error);

/// Each declaration's id and description, in the producer's order. One that
/// cannot be read is left out, and standard error tells why.
std::vector<std::pair<guint32, Declaration>>
declarations_from_answer(GVariant *answer);

/// Reads a description; nothing, and a line on standard error, when that
/// cannot be done.
std::optional<Declaration> read_declaration(GVariant *description);

/// A declaration that was not withdrawn yet.
struct LiveDeclaration {
	std::string producer;
	guint32 id;
	Declaration declaration;
};

/// The live declarations of all producers. False with error set, not explained
/// yet, when one does not answer as it should.
/// @param timeout_ms how long each call may take.
bool fetch_declarations(GDBusConnection *connection, gint timeout_ms,
			std::vector<LiveDeclaration> &declarations,
			GError **error);

/// The present values of the declaration's keys; nothing when it has been
/// withdrawn. False with error set, not explained yet, on failure.
bool fetch_values(GDBusConnection *connection, gint timeout_ms,
		  const LiveDeclaration &declaration,
		  std::optional<Values> &values, GError **error);

} // namespace orvadctl
