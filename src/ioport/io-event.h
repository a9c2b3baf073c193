#pragma once

/// One event that a port announces to the platform's event system: what the
/// port configuration says about it and whether it is declared at the moment.
/// The functions that work on it are in port-seam.h.

#include "ioport/supervised-utils.h"

#include <glib.h>

#include <list>
#include <mutex>
#include <optional>
#include <string>

/// A configured key of an event.
struct EventKey {
	std::optional<std::string> key;
	/// A literal, or "PORT_STATUS", "PORT_ACTIVE",
	/// "PORT_SUPERVISED_STATUS".
	std::optional<std::string> value;
	/// Display names; "PORT_NAME" stands for the port's current name.
	std::optional<std::string> key_nice_name;
	std::optional<std::string> value_nice_name;
	/// "int", "bool", "double" or "string".
	std::optional<std::string> type;
	/// The key carries the event's state.
	bool property = false;
};

struct IOEvent {
	/// "IOPort", "PortAny", "com.vexa.Event.Qel.SupervisedPort" or the name
	/// of a platform event type.
	std::optional<std::string> name;
	bool for_output = true;
	bool for_input = true;
	/// Applies to supervised inputs, and suppresses repeated values.
	bool for_supervised = false;
	/// Declared, but never sent.
	bool declare_only = false;
	/// Newest first.
	std::list<EventKey> keys;

	/// Declared before the port's set-up was over, when its state was not
	/// known.
	/// Main thread.
	bool declared_early = false;
	/// What it told then: the port's state, and that of its wiring.
	int early_state = 0;
	SupervisedState early_wiring = SUPERVISED_OPEN;

	/// Guards the three fields below, which the main thread and the port's
	/// action thread both use. A leaf: nothing but the event library is
	/// called with it held.
	std::mutex mutex;
	/// 0 when not declared.
	guint32 declaration_id = 0;
	/// The next value is sent even if it equals the last one.
	bool filter_reset = false;
	int last_value = 0;
};
