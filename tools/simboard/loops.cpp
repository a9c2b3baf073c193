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

unsigned level_in(const Loop &loop, const Resistance &resistance)
{
	return level_of(loop.circuit, resistance, loop.full_scale());
}

} // namespace

gint64 Loop::level() const
{
	return channel ? channel->value : converter->adc.level(address);
}

unsigned Loop::full_scale() const
{
	return channel ? channel->device->description.full_scale
		       : Adc::HIGHEST_LEVEL;
}

guint64 Loop::readings() const
{
	return channel ? channel->readings : converter->adc.readings(address);
}

const std::string &Loop::converter_name() const
{
	return channel ? channel->device->description.name : converter->name;
}

Loops::Loops(const BoardDescription &description, Converters &converters,
	     Iio &iio, Board &board)
	: converters_(converters), iio_(iio), board_(board)
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
	loop.channel =
		iio_.find_channel(description.converter, description.address);
	loop.address = description.address;
	loop.circuit = description.circuit;
	loop.line = board_.find_line(description.line);
	loop.state = word(state);
	unsigned level = level_in(loop, resistance_of(loop.circuit, state));
	if (loop.channel)
		loop.channel->value = level;
	else
		loop.converter->adc.set_level(loop.address, level);
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

void Loops::apply(Loop &loop, const std::string &state, gint64 level)
{
	if (loop.state != state) {
		loop.state = state;
		board_.history().record(std::nullopt, loop.name, What::LOOP,
					state, BOARD);
	}
	if (loop.channel)
		iio_.set_value(*loop.channel, level);
	else
		converters_.set_level(*loop.converter, loop.address,
				      static_cast<unsigned>(level), loop.name);
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
	      level_in(loop, resistance_of(loop.circuit, state)));
	move_contact(loop, seems_open(state));
}

void Loops::set_ohms(Loop &loop, unsigned ohms)
{
	apply(loop, std::to_string(ohms), level_in(loop, {ohms, 1}));
	move_contact(loop, seems_open(loop.circuit, ohms));
}

void Loops::set_raw(Converter &converter, unsigned address, unsigned level)
{
	for (auto &[name, loop] : loops_)
		if (loop.converter == &converter && loop.address == address)
			return apply(loop, RAW, level);
	converters_.set_level(converter, address, level, "");
}

void Loops::set_raw(IioChannel &channel, gint64 value)
{
	for (auto &[name, loop] : loops_)
		if (loop.channel == &channel)
			return apply(loop, RAW, value);
	iio_.set_value(channel, value);
}

} // namespace simboard
