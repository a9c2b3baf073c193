#pragma once

/// The vocabulary of supervised (tamper-watched) inputs: what a measured
/// level on the line can mean.

#include <glib.h>

#include <vector>

/// What the wiring of a supervised input is found to be. The numbers are part
/// of platform events; "short" and "cut" mean tampering.
enum SupervisedState : guint32 {
	SUPERVISED_OPEN = 0,
	SUPERVISED_CLOSED = 1,
	SUPERVISED_SHORT = 2,
	SUPERVISED_CUT = 3,
	SUPERVISED_UNDEFINED = 4,
};

/// One range of levels, both limits inclusive, in the converter's raw units.
struct SupervisedRange {
	SupervisedState state;
	guint32 upper_limit;
	guint32 lower_limit;
};

/// A port's ranges. The order is significant: where ranges overlap, the last
/// one that matches a level wins.
using SupervisedRangeList = std::vector<SupervisedRange>;

/// The word for @p state: "open", "closed", "short", "cut" or "undefined".
/// Any other number is a programming error and ends the process.
const char *supervised_range_state2string(guint32 state);

/// The state for @p word; any other text, null included, is
/// SUPERVISED_UNDEFINED.
SupervisedState supervised_range_string2state(const char *word);

/// True for the states that mean tampering, "short" and "cut".
bool supervised_state_is_tampered(guint32 state);
