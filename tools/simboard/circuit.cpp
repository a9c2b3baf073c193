#include "circuit.h"

namespace simboard
{

namespace
{

/// Of the contact's resistor beside the end-of-line resistor.
Resistance side_by_side(std::uint64_t one, std::uint64_t other)
{
	return {one * other, one + other};
}

} // namespace

Circuit usual_circuit(LoopWiring wiring)
{
	if (wiring == LoopWiring::NORMALLY_CLOSED)
		return {wiring, 2000, 1000, 3000};
	return {wiring, 2000, 4000, 1333};
}

Resistance resistance_of(const Circuit &circuit, LoopState state)
{
	bool in_series = circuit.wiring == LoopWiring::NORMALLY_CLOSED;

	switch (state) {
	case LoopState::OPEN:
		return {circuit.end_of_line +
				std::uint64_t{in_series ? circuit.contact : 0},
			1};
	case LoopState::CLOSED:
		return in_series ? Resistance{circuit.end_of_line, 1}
				 : side_by_side(circuit.end_of_line,
						circuit.contact);
	case LoopState::SHORT:
		return {0, 1};
	case LoopState::CUT:
		return {1, 0};
	}
	return {};
}

unsigned level_of(const Circuit &circuit, const Resistance &loop,
		  unsigned full_scale)
{
	std::uint64_t whole =
		loop.numerator + circuit.pull_up * loop.denominator;

	return static_cast<unsigned>(
		(2 * std::uint64_t{full_scale} * loop.numerator + whole) /
		(2 * whole));
}

bool seems_open(const Circuit &circuit, unsigned ohms)
{
	Resistance open = resistance_of(circuit, LoopState::OPEN);
	Resistance closed = resistance_of(circuit, LoopState::CLOSED);

	// ohms > (open + closed) / 2, where open is a whole number.
	return 2 * std::uint64_t{ohms} * closed.denominator >
	       open.numerator * closed.denominator + closed.numerator;
}

LoopState state_at_rest(LoopWiring wiring)
{
	return wiring == LoopWiring::NORMALLY_CLOSED ? LoopState::CLOSED
						     : LoopState::OPEN;
}

} // namespace simboard
