#include "pulse-steps.h"

#include <numeric>

namespace orvadctl
{

std::vector<Step> pulse_steps(const std::vector<gint32> &times)
{
	std::vector<Step> steps;
	bool active = true;

	for (gint32 ms : times) {
		steps.push_back({active, ms});
		active = !active;
	}
	if (!active)
		steps.push_back({false, 0});
	return steps;
}

gint64 total_ms(const std::vector<Step> &steps)
{
	return std::accumulate(
		steps.begin(), steps.end(), gint64{0},
		[](gint64 sum, const Step &step) { return sum + step.ms; });
}

GVariant *steps_to_variant(const std::vector<Step> &steps)
{
	GVariantBuilder builder;

	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(bi)"));
	for (const Step &step : steps)
		g_variant_builder_add(&builder, "(bi)", gboolean{step.active},
				      step.ms);
	return g_variant_builder_end(&builder);
}

} // namespace orvadctl
