#include "orvadctl/setting-change.h"
#include "parse-variant.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

SettingChange setting_change(const char *text)
{
	util::VariantPtr arguments = parse_variant(text);

	EXPECT_STREQ(g_variant_get_type_string(arguments.get()), CHANGED_TYPE);
	return setting_change_from_variant(arguments.get());
}

} // namespace

TEST(SettingChange, IsALineForAPerson)
{
	EXPECT_EQ(setting_change_text(setting_change(
			  "('a.S', '/s', 'a.T', '/t', 3, 'Inputs 2')")),
		  "/t a.T: Inputs 2");
	EXPECT_EQ(setting_change_text(setting_change(
			  "('a.S', '/s', 'a.T', '/t', 3, 'A 1\\nB x\\n')")),
		  "/t a.T: A 1, B x");
	EXPECT_EQ(setting_change_text(setting_change(
			  "('', '', '\\u001b', '\\t', 3, '\\u001b[2J')")),
		  "\\t \\x1b: \\x1b[2J");
}

TEST(SettingChange, HasAMemberForEachArgument)
{
	JsonWriter json;

	add_setting_change(
		json,
		setting_change("('a.S', '/s', 'a.T', '/t', 3, 'A 1\\n')"));
	EXPECT_EQ(json.line(),
		  "{\"source_interface\":\"a.S\",\"source_object\":\"/s\","
		  "\"target_interface\":\"a.T\",\"target_object\":\"/t\","
		  "\"kind\":3,\"change\":\"A 1\\n\"}");
}
