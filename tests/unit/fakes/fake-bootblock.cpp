#include "fakes/fake-bootblock.h"

#include "fakes/recorder.h"
#include "platform/bootblock.h"

namespace
{

std::optional<std::string> answer;

} // namespace

namespace fake_bootblock
{

void set_answer(const std::optional<std::string> &value)
{
	answer = value;
}

void reset()
{
	answer.reset();
}

} // namespace fake_bootblock

void bootblock_read_param(const char *name, std::optional<std::string> *value)
{
	recorder::note("bootblock_read_param(%s)", name);
	if (answer)
		*value = answer;
}
