#include "orvadctl/legacy-parameter.h"

#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

LegacyParameter make_parameter(LegacyType type)
{
	LegacyParameter parameter;

	parameter.group = "root.X";
	parameter.name = "Y";
	parameter.object = "/a/0";
	parameter.interface = "a.B";
	parameter.property = "P";
	parameter.value_type = type;
	parameter.true_word = "yes";
	parameter.false_word = "no";
	parameter.type = "string";
	parameter.access = "viewer:1";
	return parameter;
}

bool read(LegacyType type, const char *text, LegacyValue &value, GError **error)
{
	util::VariantPtr answer(
		text ? g_variant_ref_sink(g_variant_new_parsed(text))
		     : nullptr);

	return legacy_value_from_variant(make_parameter(type), answer.get(),
					 value, error);
}

LegacyValue value_of(LegacyType type, const char *text)
{
	LegacyValue value;
	util::Error error;

	EXPECT_TRUE(read(type, text, value, &error)) << error.message();
	return value;
}

/// The line of a table with that value alone.
std::string shown(LegacyType type, LegacyValue value)
{
	std::string text = legacy_text({{make_parameter(type), value}}, false);

	return text.substr(text.find('\n') + 1);
}

} // namespace

TEST(LegacyValue, IsReadByType)
{
	EXPECT_EQ(value_of(LegacyType::INTEGER, "-5"), LegacyValue(-5));
	EXPECT_EQ(value_of(LegacyType::BOOLEAN, "true"), LegacyValue(true));
	EXPECT_EQ(value_of(LegacyType::BOOLEAN, "false"), LegacyValue(false));
	EXPECT_EQ(value_of(LegacyType::TEXT, "'Tür'"),
		  LegacyValue(std::string("Tür")));
	EXPECT_EQ(value_of(LegacyType::TEXT, "''"), LegacyValue(std::string()));
}

TEST(LegacyValue, TextMayBeAByteString)
{
	EXPECT_EQ(value_of(LegacyType::TEXT, "b'open'"),
		  LegacyValue(std::string("open")));
	EXPECT_EQ(value_of(LegacyType::TEXT, "b''"),
		  LegacyValue(std::string()));
	EXPECT_EQ(value_of(LegacyType::TEXT, "@ay []"),
		  LegacyValue(std::string()));
	EXPECT_EQ(value_of(LegacyType::TEXT, "@ay [0x61, 0x62]"),
		  LegacyValue(std::string("ab")));
}

TEST(LegacyValue, MayBeMissing)
{
	for (LegacyType type :
	     {LegacyType::INTEGER, LegacyType::BOOLEAN, LegacyType::TEXT})
		EXPECT_EQ(value_of(type, nullptr),
			  LegacyValue(std::monostate()));
}

TEST(LegacyValue, OfAnotherTypeIsRefused)
{
	const std::pair<LegacyType, const char *> refused[] = {
		{LegacyType::INTEGER, "uint32 1"},
		{LegacyType::INTEGER, "'1'"},
		{LegacyType::INTEGER, "true"},
		{LegacyType::BOOLEAN, "1"},
		{LegacyType::BOOLEAN, "'yes'"},
		{LegacyType::TEXT, "1"},
		{LegacyType::TEXT, "objectpath '/a'"},
		{LegacyType::TEXT, "['a']"},
		{LegacyType::TEXT, "<'a'>"},
		// Not UTF-8; a zero before the end.
		{LegacyType::TEXT, "@ay [0xff, 0x00]"},
		{LegacyType::TEXT, "@ay [0x61, 0x00, 0x62, 0x00]"},
	};

	for (auto [type, text] : refused) {
		LegacyValue value = 5;
		util::Error error;
		EXPECT_FALSE(read(type, text, value, &error)) << text;
		EXPECT_EQ(value, LegacyValue(std::monostate())) << text;
	}
}

TEST(LegacyValue, RefusalNamesParameterAndTypes)
{
	LegacyValue value;
	util::Error error;

	EXPECT_FALSE(read(LegacyType::INTEGER, "'5'", value, &error));
	EXPECT_STREQ(error.message(), "the value of root.X.Y is not an "
				      "integer, but of type \"s\"");
	EXPECT_FALSE(read(LegacyType::BOOLEAN, "5", value, &error));
	EXPECT_STREQ(error.message(), "the value of root.X.Y is not a "
				      "boolean, but of type \"i\"");
	EXPECT_FALSE(read(LegacyType::TEXT, "@ay [0xff]", value, &error));
	EXPECT_STREQ(error.message(), "the value of root.X.Y is not a text, "
				      "but of type \"ay\"");
}

TEST(LegacyText, HasAHeadingAndALineForEachParameter)
{
	EXPECT_EQ(legacy_text({}, false),
		  "GROUP  PARAMETER  VALUE  TYPE  ACCESS\n");
	EXPECT_EQ(
		legacy_text({{make_parameter(LegacyType::INTEGER), 12}}, false),
		"GROUP   PARAMETER  VALUE  TYPE    ACCESS\n"
		"root.X  Y          12     string  viewer:1\n");
}

TEST(LegacyText, ShowsValuesByType)
{
	EXPECT_EQ(shown(LegacyType::INTEGER, G_MININT32),
		  "root.X  Y          -2147483648  string  viewer:1\n");
	EXPECT_EQ(shown(LegacyType::BOOLEAN, true),
		  "root.X  Y          yes    string  viewer:1\n");
	EXPECT_EQ(shown(LegacyType::BOOLEAN, false),
		  "root.X  Y          no     string  viewer:1\n");
	EXPECT_EQ(shown(LegacyType::TEXT, std::string("open")),
		  "root.X  Y          open   string  viewer:1\n");
	EXPECT_EQ(shown(LegacyType::TEXT, std::string()),
		  "root.X  Y                 string  viewer:1\n");
	EXPECT_EQ(shown(LegacyType::TEXT, std::monostate()),
		  "root.X  Y          -      string  viewer:1\n");
}

TEST(LegacyText, EscapesWhateverComesFromOutside)
{
	LegacyParameter parameter = make_parameter(LegacyType::BOOLEAN);

	parameter.group = "\x1b[2J";
	parameter.name = "a\nb";
	parameter.true_word = "\t";
	parameter.type = "\r";
	parameter.access = "\x7f";
	std::string text = legacy_text({{parameter, true}}, false);
	EXPECT_EQ(text.substr(text.find('\n') + 1),
		  "\\x1b[2J  a\\nb       \\t     \\r    \\x7f\n");
	EXPECT_EQ(shown(LegacyType::TEXT, std::string("a\nb")),
		  "root.X  Y          a\\nb   string  viewer:1\n");
}

TEST(LegacyJson, HasValuesOfTheirTypes)
{
	const std::pair<LegacyValue, const char *> values[] = {
		{-5, "-5"},
		{true, "true"},
		{std::string("a\nb"), "\"a\\nb\""},
		{std::monostate(), "null"},
	};

	for (const auto &[value, text] : values)
		EXPECT_EQ(legacy_json(
				  {{make_parameter(LegacyType::TEXT), value}}),
			  "{\n"
			  "  \"parameters\" : [\n"
			  "    {\n"
			  "      \"group\" : \"root.X\",\n"
			  "      \"parameter\" : \"Y\",\n"
			  "      \"value\" : " +
				  std::string(text) +
				  ",\n"
				  "      \"type\" : \"string\",\n"
				  "      \"access\" : \"viewer:1\",\n"
				  "      \"object\" : \"/a/0\",\n"
				  "      \"interface\" : \"a.B\",\n"
				  "      \"property\" : \"P\"\n"
				  "    }\n"
				  "  ]\n"
				  "}");
}

TEST(LegacySetting, IsALineOrAnObject)
{
	const LegacySetting setting = {make_parameter(LegacyType::BOOLEAN),
				       true};

	EXPECT_EQ(legacy_setting_text(setting), "root.X.Y: yes");
	EXPECT_NE(legacy_setting_json(setting).find("\"value\" : true"),
		  std::string::npos);
}

TEST(LegacyValue, IsWrittenByTheParametersType)
{
	const std::tuple<LegacyType, const char *, const char *> values[] = {
		{LegacyType::INTEGER, "-7", "-7"},
		{LegacyType::BOOLEAN, "yes", "true"},
		{LegacyType::BOOLEAN, "no", "false"},
		{LegacyType::TEXT, "open", "b'open'"},
		{LegacyType::TEXT, "", "b''"},
	};

	for (const auto &[type, text, printed] : values) {
		util::VariantPtr value(
			g_variant_ref_sink(legacy_value_to_variant(
				make_parameter(type), text, nullptr)));
		util::CharPtr found(g_variant_print(value.get(), FALSE));
		EXPECT_STREQ(found.get(), printed);
	}
}

TEST(LegacyValue, ThatTheParameterCannotHaveIsRefused)
{
	const std::tuple<LegacyType, const char *, const char *> values[] = {
		{LegacyType::INTEGER, "1.5",
		 "root.X.Y takes a number of 32 bits, not \"1.5\""},
		{LegacyType::BOOLEAN, "true",
		 "root.X.Y takes \"yes\" or \"no\", not \"true\""},
	};

	for (const auto &[type, text, message] : values) {
		util::Error error;
		EXPECT_EQ(legacy_value_to_variant(make_parameter(type), text,
						  &error),
			  nullptr);
		EXPECT_STREQ(error.message(), message);
	}
}
