#pragma once

/// The vocabulary of supervised (tamper-watched) inputs: what a measured
/// level on the line can mean, and the ranges of levels that say so.

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

/// Zero when the two ranges are of the same state, whatever their limits.
int range_equal(const SupervisedRange &a, const SupervisedRange &b);

/// The ranges in their order as a floating "a(suu)": word, lower limit, upper
/// limit.
GVariant *supervised_ranges2gvariant(const SupervisedRangeList &ranges);

/// The ranges of an "a(suu)", sorted by their lower limits; of equal ones the
/// one that comes later in the array stands first. Lower limits are compared by
/// their difference as a signed 32-bit number, so those more than 2^31 apart
/// stand the wrong way round. A word that is no state's is
/// SUPERVISED_UNDEFINED; nothing else is looked at.
SupervisedRangeList supervised_gvariant2ranges(GVariant *ranges);
