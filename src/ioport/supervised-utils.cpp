#include "ioport/supervised-utils.h"

#include "util/assert.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

constexpr std::array<const char *, 5> kStateWords = {
	"open", "closed", "short", "cut", "undefined",
};

} // namespace

const char *supervised_range_state2string(guint32 state)
{
	if (state >= kStateWords.size())
		MODULE_ASSERT_NOT_REACHED("supervised-utils.c");
	return kStateWords[state];
}

SupervisedState supervised_range_string2state(const char *word)
{
	if (word == nullptr)
		return SUPERVISED_UNDEFINED;
	const auto found = std::find(kStateWords.begin(), kStateWords.end(),
				     std::string_view(word));
	if (found == kStateWords.end())
		return SUPERVISED_UNDEFINED;
	return static_cast<SupervisedState>(found - kStateWords.begin());
}

bool supervised_state_is_tampered(guint32 state)
{
	return state == SUPERVISED_SHORT || state == SUPERVISED_CUT;
}
