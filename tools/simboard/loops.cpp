#include "loops.h"

namespace simboard
{

namespace
{

constexpr const char *RAW = "raw";

/// What a plain input makes of it: no current is no current.
bool seems_open(LoopState state)
{
	return state == LoopState::OPEN || state == LoopState::CUT;
}

} // namespace

Loops::Loops(const BoardDescription &description, Converters &converters,
	     Board &board)
	: converters_(converters), board_(board)
{
	for (const LoopDescription &loop : description.loops)
		add(loop);
}

void Loops::add(const LoopDescription &description)
{
	Loop &loop = loops_[description.name];
	LoopState state = state_at_rest(description.circuit.wiring);

	loop.name = description.name;
	loop.converter = converters_.find(description.converter);
	loop.address = description.address;
	loop.circuit = description.circuit;
	loop.line = board_.find_line(description.line);
	loop.state = word(state);
	loop.converter->adc.set_level(
		loop.address,
		level_of(loop.circuit, resistance_of(loop.circuit, state)));
	move_contact(loop, seems_open(state));
}

Loop *Loops::find(const std::string &name)
{
	auto place = loops_.find(name);

	return place == loops_.end() ? nullptr : &place->second;
}

Loop *Loops::find_contact(const Line &line)
{
	for (auto &[name, loop] : loops_)
		if (loop.line == &line)
			return &loop;
	return nullptr;
}

void Loops::apply(Loop &loop, const std::string &state, unsigned level)
{
	if (loop.state != state) {
		loop.state = state;
		board_.history().record(std::nullopt, loop.name, What::LOOP,
					state, BOARD);
	}
	converters_.set_level(*loop.converter, loop.address, level, loop.name);
}

void Loops::move_contact(Loop &loop, bool open)
{
	if (loop.line)
		board_.drive(*loop.line, open ? opposite(loop.line->idle)
					      : loop.line->idle);
}

void Loops::set(Loop &loop, LoopState state)
{
	apply(loop, word(state),
	      level_of(loop.circuit, resistance_of(loop.circuit, state)));
	move_contact(loop, seems_open(state));
}

void Loops::set_ohms(Loop &loop, unsigned ohms)
{
	apply(loop, std::to_string(ohms), level_of(loop.circuit, {ohms, 1}));
	move_contact(loop, seems_open(loop.circuit, ohms));
}

void Loops::set_raw(Converter &converter, unsigned address, unsigned level)
{
	for (auto &[name, loop] : loops_)
		if (loop.converter == &converter && loop.address == address)
			return apply(loop, RAW, level);
	converters_.set_level(converter, address, level, "");
}

} // namespace simboard
