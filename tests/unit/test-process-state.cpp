#include "util/process-state.h"

#include <gtest/gtest.h>

#include <vector>

namespace
{

/// Whether the older system is served after a start with @p arguments.
bool legacy_after(std::vector<const char *> arguments)
{
	arguments.insert(arguments.begin(), "orvad");
	const int count = static_cast<int>(arguments.size());
	arguments.push_back(nullptr);
	util::read_command_line(count, arguments.data());
	return use_legacy_interface();
}

TEST(CommandLine, WithoutArgumentsTheOlderSystemIsServed)
{
	EXPECT_TRUE(legacy_after({}));
}

TEST(CommandLine, TheSwitchTurnsTheOlderSystemOff)
{
	EXPECT_FALSE(legacy_after({"--disable_legacy_interface"}));
	EXPECT_FALSE(legacy_after({"--disable_legacy_interface", "x"}));
}

TEST(CommandLine, OnlyTheExactSwitchInTheFirstPlaceCounts)
{
	EXPECT_TRUE(legacy_after({"--disable-legacy-interface"}));
	EXPECT_TRUE(legacy_after({"--disable_legacy_interface=true"}));
	EXPECT_TRUE(legacy_after({"--DISABLE_LEGACY_INTERFACE"}));
	EXPECT_TRUE(legacy_after({""}));
	EXPECT_TRUE(legacy_after({"x", "--disable_legacy_interface"}));
}

TEST(CommandLine, WithoutEvenANameTheOlderSystemIsServed)
{
	const char *const none[] = {nullptr};
	util::read_command_line(0, none);
	EXPECT_TRUE(use_legacy_interface());
}

} // namespace
