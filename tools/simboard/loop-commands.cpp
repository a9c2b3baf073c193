#include "command-groups.h"

#include "lookups.h"
#include "numbers.h"

namespace simboard
{

namespace
{

void run_loop(Bench &bench, const Words &words, const Reply &reply)
{
	Loop *loop = find_loop(bench, words[0], reply);
	auto state = loop_state_from_word(words[1]);
	guint64 ohms = 0;

	if (!loop)
		return;
	if (state) {
		bench.loops.set(*loop, *state);
	} else if (parse_unsigned(words[1], 0, MOST_OHMS, ohms)) {
		bench.loops.set_ohms(*loop, static_cast<unsigned>(ohms));
	} else {
		reply.fail("%s is not open, closed, short, cut or a number "
			   "from 0 to %u",
			   printable(words[1]).c_str(), MOST_OHMS);
		return;
	}
	reply.line(std::to_string(loop->level()));
	reply.done();
}

void set_channel(Bench &bench, const Words &words, const Reply &reply)
{
	IioChannel *channel = find_channel(bench, words[0], reply);
	gint64 value = 0;

	if (!channel || !parse_value(words[1], *channel, value, reply))
		return;
	bench.loops.set_raw(*channel, value);
	reply.done();
}

void run_adc(Bench &bench, const Words &words, const Reply &reply)
{
	if (bench.iio.find(words[0].substr(0, words[0].find('/'))))
		return set_channel(bench, words, reply);
	std::size_t slash = std::min(words[0].find('/'), words[0].size());
	std::string address = words[0].substr(slash);
	unsigned channel = 0, level = 0;
	Converter *converter =
		find_converter(bench, words[0].substr(0, slash), reply);

	if (!converter)
		return;
	if (!address.empty())
		address.erase(0, 1);
	if (!parse_count(address, 0, Adc::HIGHEST_ADDRESS, channel, reply) ||
	    !parse_count(words[1], 0, Adc::HIGHEST_LEVEL, level, reply))
		return;
	bench.loops.set_raw(*converter, channel, level);
	reply.done();
}

constexpr BoardCommand LOOP_COMMANDS[] = {
	{"loop", "LOOP open|closed|short|cut|OHMS",
	 "do that to an alarm loop; prints the level of its channel", 2, 2,
	 run_loop},
	{"adc", "CONVERTER/ADDRESS LEVEL | IIO/NUMBER VALUE",
	 "set what a channel reads, until its loop changes", 2, 2, run_adc},
};

} // namespace

std::span<const BoardCommand> loop_commands()
{
	return LOOP_COMMANDS;
}

} // namespace simboard
