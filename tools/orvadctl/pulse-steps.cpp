#include "pulse-steps.h"

#include "arguments.h"
#include "error.h"

#include <numeric>
#include <optional>

namespace orvadctl
{

namespace
{

/// "on:500" or "on".
std::optional<Step> parse_step(const std::string &word)
{
	const std::size_t colon = word.find(':');
	const auto active = parse_switch(word.substr(0, colon));
	const auto ms = colon == std::string::npos
				? std::optional<gint32>(0)
				: parse_milliseconds(word.substr(colon + 1));

	if (!active || !ms)
		return std::nullopt;
	return Step{*active, *ms};
}

} // namespace

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

bool parse_steps(const std::vector<std::string> &words,
		 std::vector<Step> &steps, GError **error)
{
	std::vector<gint32> times;

	steps.clear();
	for (const std::string &word : words) {
		if (auto ms = parse_milliseconds(word)) {
			times.push_back(*ms);
		} else if (auto step = parse_step(word)) {
			steps.push_back(*step);
		} else {
			set_usage_error(error,
					"\"%s\" is no time in ms, 0 to %d, and "
					"no state with one, as on:500",
					word.c_str(), LONGEST_STEP_MS);
			return false;
		}
	}
	if (!steps.empty() && !times.empty()) {
		set_usage_error(error, "either every step has a state, or none "
				       "has");
		return false;
	}
	if (steps.empty())
		steps = pulse_steps(times);
	return true;
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
