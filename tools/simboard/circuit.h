#pragma once

/// An alarm loop: a contact with end-of-line resistors, so that a converter can
/// tell an open contact from a cut wire and a closed one from a short circuit.
/// The formulas are in docs/simulated-board.md. Resistances are in ohms.

#include "words.h"

#include <cstdint>

namespace simboard
{

constexpr unsigned MOST_OHMS = 10000000;

struct Circuit {
	LoopWiring wiring = LoopWiring::NORMALLY_CLOSED;
	unsigned pull_up = 0;     ///< From the supply to the input; not 0.
	unsigned end_of_line = 0; ///< Not 0.
	unsigned contact = 0;     ///< The resistor at the contact; not 0.
};

/// What the loop is between the input and ground: a fraction, since resistors
/// side by side are no whole number. Nothing there is 1 / 0.
struct Resistance {
	std::uint64_t numerator = 0;
	std::uint64_t denominator = 1;
};

/// The circuit with the usual resistors: the levels of short, closed, open and
/// cut are 0, 85, 170 and 255 with either wiring.
Circuit usual_circuit(LoopWiring wiring);

Resistance resistance_of(const Circuit &circuit, LoopState state);

/// What an 8-bit converter reads of nothing there, and the most that any does.
constexpr unsigned USUAL_FULL_SCALE = 255;
constexpr unsigned MOST_FULL_SCALE = 65535;

/// The level that a converter reads, rounded half up.
/// @param loop of at most MOST_OHMS, or nothing, or a resistance_of() it.
/// @param full_scale at most MOST_FULL_SCALE.
unsigned level_of(const Circuit &circuit, const Resistance &loop,
		  unsigned full_scale = USUAL_FULL_SCALE);

/// Whether a plain input would take the contact for open: the loop has more
/// than half-way from its resistance when closed to that when open.
bool seems_open(const Circuit &circuit, unsigned ohms);

/// The state of an untouched contact.
LoopState state_at_rest(LoopWiring wiring);

} // namespace simboard
