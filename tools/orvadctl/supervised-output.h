#pragma once

/// How supervised inputs are shown.

#include "json-writer.h"
#include "style.h"
#include "supervised-range.h"

#include <string>

namespace orvadctl
{

/// The style of a line's state, by the daemon's word for it.
Style line_state_style(const std::string &state);

/// One character for a line's state: o, c, s, x for cut, and ? for a word that
/// this client does not know.
char line_state_letter(const std::string &state);

/// Where the level is: ", level 123, 27 from its edge 150"; without the latter
/// when no edge is known. Follows the word for the state.
std::string level_detail(const Readout &readout,
			 const std::vector<Range> &ranges);

/// Adds the members state and level to the present object.
void add_readout_members(JsonWriter &json, const Readout &readout);

/// Adds the array ranges to the present object.
void add_range_members(JsonWriter &json, const std::vector<Range> &ranges);

} // namespace orvadctl
