#include "orvadctl/error.h"
#include "orvadctl/pulse-steps.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;
using Steps = std::vector<Step>;

namespace
{

Steps steps_of(const std::vector<std::string> &words)
{
	Steps steps;
	util::Error error;

	EXPECT_TRUE(parse_steps(words, steps, &error)) << error.message();
	return steps;
}

/// What is said about words that are no steps.
std::string refusal_of(const std::vector<std::string> &words)
{
	Steps steps;
	util::Error error;

	if (parse_steps(words, steps, &error))
		return "";
	EXPECT_TRUE(is_usage_error(error.get()));
	return error.message();
}

} // namespace

TEST(PulseSteps, OneTimeIsAPulseThatEndsInactive)
{
	EXPECT_EQ(pulse_steps({500}), (Steps{{true, 500}, {false, 0}}));
}

TEST(PulseSteps, TimesAlternateFromActive)
{
	EXPECT_EQ(pulse_steps({1, 2, 3}),
		  (Steps{{true, 1}, {false, 2}, {true, 3}, {false, 0}}));
}

TEST(PulseSteps, InactiveLastStepStaysTheLast)
{
	EXPECT_EQ(pulse_steps({1, 2}), (Steps{{true, 1}, {false, 2}}));
	EXPECT_EQ(pulse_steps({0, 0}), (Steps{{true, 0}, {false, 0}}));
}

TEST(PulseSteps, TotalDoesNotOverflow)
{
	EXPECT_EQ(total_ms(pulse_steps({500, 250})), 750);
	EXPECT_EQ(total_ms(Steps(2000, {true, G_MAXINT32})),
		  gint64{2000} * G_MAXINT32);
}

TEST(PulseSteps, AreSentInTheDaemonsForm)
{
	util::VariantPtr sent(
		g_variant_ref_sink(steps_to_variant(pulse_steps({500}))));
	util::VariantPtr expected(g_variant_ref_sink(
		g_variant_new_parsed("[(true, 500), (false, 0)]")));
	EXPECT_TRUE(g_variant_equal(sent.get(), expected.get()));
}

TEST(PulseSteps, TimesAloneAreAPulse)
{
	EXPECT_EQ(steps_of({"0", "2147483", "1"}),
		  pulse_steps({0, 2147483, 1}));
}

TEST(PulseSteps, WithStatesAreTakenAsTheyAre)
{
	EXPECT_EQ(steps_of({"off:200", "on:500", "on:1"}),
		  (Steps{{false, 200}, {true, 500}, {true, 1}}));
	EXPECT_EQ(steps_of({"inactive:0", "active:2147483", "0:1", "1:2"}),
		  (Steps{{false, 0}, {true, 2147483}, {false, 1}, {true, 2}}));
}

TEST(PulseSteps, StateAloneTakesNoTime)
{
	EXPECT_EQ(steps_of({"on"}), (Steps{{true, 0}}));
	EXPECT_EQ(steps_of({"on:5", "off"}), (Steps{{true, 5}, {false, 0}}));
}

TEST(PulseSteps, EitherAllHaveAStateOrNoneHas)
{
	const std::string sentence = "either every step has a state, or none "
				     "has";

	EXPECT_EQ(refusal_of({"500", "off:200"}), sentence);
	EXPECT_EQ(refusal_of({"on:500", "off", "200"}), sentence);
}

TEST(PulseSteps, OtherWordsAreTold)
{
	for (const char *word : {"", ":", "on:", ":5", "on:x", "up:5", "on:-1",
				 "on:2147484", "on:1:2", "On", "-5", "5ms"})
		EXPECT_EQ(refusal_of({"on:1", word}),
			  "\"" + std::string(word) +
				  "\" is no time in ms, 0 to 2147483, and no "
				  "state with one, as on:500");
}
