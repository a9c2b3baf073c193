#include "orvadctl/pulse-steps.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;
using Steps = std::vector<Step>;

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
