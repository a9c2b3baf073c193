#include "orvadctl/side-setting.h"

#include "orvadctl/error.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

/// Reads these arguments of a command.
bool read_side_setting(std::vector<std::string> arguments,
		       std::optional<SideSetting> &setting, GError **error)
{
	Options options;
	Output output(stdout, false);

	options.arguments = std::move(arguments);
	return parse_side_setting({options, output}, "the name", setting,
				  error);
}

} // namespace

TEST(SideSetting, IsASideAndAValue)
{
	std::optional<SideSetting> setting;

	ASSERT_TRUE(
		read_side_setting({"1", "output", "Lamp"}, setting, nullptr));
	ASSERT_TRUE(setting.has_value());
	EXPECT_FALSE(setting->input);
	EXPECT_EQ(setting->value, "Lamp");
	ASSERT_TRUE(read_side_setting({"1", "input", ""}, setting, nullptr));
	EXPECT_TRUE(setting->input);
	EXPECT_EQ(setting->value, "");
}

TEST(SideSetting, IsNotThereWhenOnlyThePortIs)
{
	std::optional<SideSetting> setting = SideSetting{};

	ASSERT_TRUE(read_side_setting({"1"}, setting, nullptr));
	EXPECT_FALSE(setting.has_value());
}

TEST(SideSetting, OfOtherWordsIsRefused)
{
	const std::pair<std::vector<std::string>, const char *> wrong[] = {
		{{"1", "both", "x"}, "\"both\" is neither input nor output"},
		{{"1", "input"}, "the name is missing"},
		{{"1", "input", "\xff"}, "\"\xff\" is no text in UTF-8"},
	};

	for (const auto &[arguments, message] : wrong) {
		std::optional<SideSetting> setting;
		util::Error error;
		EXPECT_FALSE(read_side_setting(arguments, setting, &error));
		EXPECT_TRUE(is_usage_error(error.get()));
		EXPECT_STREQ(error.message(), message);
	}
}
