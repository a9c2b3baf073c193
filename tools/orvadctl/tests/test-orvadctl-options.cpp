#include "orvadctl/error.h"
#include "orvadctl/options.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;
using Words = std::vector<std::string>;

namespace
{

Options parse(const Words &words, unsigned accepted)
{
	Options options;
	util::Error error;
	EXPECT_TRUE(parse_command_options(words, accepted, options, &error))
		<< error.message();
	return options;
}

void expect_usage_error(const Words &words, unsigned accepted)
{
	Options options;
	util::Error error;
	EXPECT_FALSE(parse_command_options(words, accepted, options, &error));
	EXPECT_TRUE(is_usage_error(error.get())) << error.message();
}

} // namespace

TEST(LeadingOptions, EndAtTheCommandsName)
{
	Options options;
	util::Error error;

	ASSERT_TRUE(parse_leading_options(
		{"--json", "-t", "2", "set", "--virtual", "1", "on"}, options,
		&error))
		<< error.message();
	EXPECT_TRUE(options.json);
	EXPECT_EQ(options.timeout_ms, 2000);
	EXPECT_FALSE(options.simulate);
	EXPECT_EQ(options.arguments, (Words{"set", "--virtual", "1", "on"}));
}

TEST(CommandOptions, StandAnywhereAmongTheArguments)
{
	Options options =
		parse({"1", "--virtual", "on", "--json"}, OPTION_VIRTUAL);

	EXPECT_TRUE(options.simulate);
	EXPECT_TRUE(options.json);
	EXPECT_EQ(options.arguments, (Words{"1", "on"}));
}

TEST(CommandOptions, AddToThoseBeforeTheName)
{
	Options options;
	options.json = true;
	options.timeout_ms = 1;

	ASSERT_TRUE(parse_command_options({"--names"}, OPTION_NAMES, options,
					  nullptr));
	EXPECT_TRUE(options.json);
	EXPECT_TRUE(options.names);
	EXPECT_EQ(options.timeout_ms, 1);
}

TEST(CommandOptions, EndAtTwoDashes)
{
	EXPECT_EQ(parse({"--", "--json"}, OPTIONS_COMMON).arguments,
		  (Words{"--json"}));
	EXPECT_EQ(parse({"--json", "--", "-7", "on"}, OPTIONS_COMMON).arguments,
		  (Words{"-7", "on"}));
}

TEST(CommandOptions, OfAnotherCommandAreRefused)
{
	expect_usage_error({"--virtual"}, OPTION_COUNT);
	expect_usage_error({"--count", "1"}, OPTION_VIRTUAL);
	expect_usage_error({"--live"}, OPTION_COUNT);
	expect_usage_error({"-1"}, OPTION_VIRTUAL);
	expect_usage_error({"-7"}, OPTION_COUNT);
}

TEST(CommandOptions, ValuesAreChecked)
{
	EXPECT_EQ(parse({"-n", "3"}, OPTION_COUNT).count, 3u);
	EXPECT_TRUE(parse({"--live"}, OPTION_LIVE).live);
	expect_usage_error({"--count", "0"}, OPTION_COUNT);
	expect_usage_error({"--count"}, OPTION_COUNT);
	expect_usage_error({"--timeout", "1,5"}, OPTIONS_COMMON);
}

TEST(CommandOptions, ArgumentsNeedNotBeUtf8)
{
	EXPECT_EQ(parse({"\xff", "Tür"}, OPTIONS_COMMON).arguments,
		  (Words{"\xff", "Tür"}));
}

TEST(OptionsHelp, ListsWhatTheCommandTakes)
{
	const std::string help = options_help(OPTION_COUNT);

	EXPECT_NE(help.find("--count N"), std::string::npos);
	EXPECT_NE(help.find("--json"), std::string::npos);
	EXPECT_EQ(help.find("--virtual"), std::string::npos);
}

TEST(KnownOptions, AreWhatTheHelpLists)
{
	const std::string help = options_help(OPTION_COUNT);

	for (const OptionName &option : known_options(OPTION_COUNT)) {
		EXPECT_NE(help.find("--" + option.name), std::string::npos);
		EXPECT_EQ(option.takes_value,
			  option.name == "count" || option.name == "timeout");
		EXPECT_NE(option.name, "virtual");
	}
}
