#include "command-groups.h"

#include "lookups.h"

namespace simboard
{

namespace
{

constexpr unsigned MOST_STEPS = 1000000;
constexpr unsigned LONGEST_STEP_MS = 60000;

void run_ramp(Bench &bench, const Words &words, const Reply &reply)
{
	IioChannel *channel = find_channel(bench, words[0], reply);
	Ramp ramp;

	if (!channel || !parse_value(words[1], *channel, ramp.from, reply) ||
	    !parse_value(words[2], *channel, ramp.to, reply) ||
	    !parse_count(words[3], 1, MOST_STEPS, ramp.steps, reply) ||
	    (words.size() > 4 &&
	     !parse_count(words[4], 0, LONGEST_STEP_MS, ramp.step_ms, reply)))
		return;
	bench.ramps.start(*channel, ramp, [reply] { reply.done(); });
}

constexpr BoardCommand CHANNEL_COMMANDS[] = {
	{"ramp", "IIO/NUMBER FROM TO STEPS [MS]",
	 "move what a channel reads in steps, each MS long", 4, 5, run_ramp},
};

} // namespace

std::span<const BoardCommand> channel_commands()
{
	return CHANNEL_COMMANDS;
}

} // namespace simboard
