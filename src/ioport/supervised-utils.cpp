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

/// Below zero, zero or above, as the lower limit of @p a is below, equal to or
/// above that of @p b. No order in the strict sense: the difference wraps.
gint32 compare_lower_limits(const SupervisedRange &a, const SupervisedRange &b)
{
	return static_cast<gint32>(a.lower_limit - b.lower_limit);
}

void insert_sorted(SupervisedRangeList *ranges, const SupervisedRange &range)
{
	const auto place = std::ranges::find_if(
		*ranges, [&range](const SupervisedRange &other) {
			return compare_lower_limits(range, other) <= 0;
		});
	ranges->insert(place, range);
}

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

int range_equal(const SupervisedRange &a, const SupervisedRange &b)
{
	return a.state == b.state ? 0 : 1;
}

GVariant *supervised_ranges2gvariant(const SupervisedRangeList &ranges)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(suu)"));
	for (const SupervisedRange &range : ranges)
		g_variant_builder_add(
			&builder, "(suu)",
			supervised_range_state2string(range.state),
			range.lower_limit, range.upper_limit);
	return g_variant_builder_end(&builder);
}

SupervisedRangeList supervised_gvariant2ranges(GVariant *ranges)
{
	SupervisedRangeList list;
	GVariantIter iter;
	g_variant_iter_init(&iter, ranges);
	const char *word = nullptr;
	guint32 lower = 0;
	guint32 upper = 0;
	while (g_variant_iter_next(&iter, "(&suu)", &word, &lower, &upper))
		insert_sorted(&list, {supervised_range_string2state(word),
				      upper, lower});
	return list;
}
