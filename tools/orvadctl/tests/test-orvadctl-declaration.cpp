#include "comma-locale.h"
#include "orvadctl/declaration.h"
#include "parse-variant.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

constexpr const char *PORT_EVENT =
	"{'type': <''>, 'property': <'state'>,"
	" 'keys': <{'topic0': <'Device'>, 'topic1': <'IO'>,"
	"           'topic2': <'Port'>, 'port': <3>}>,"
	" 'nice-names': <{'port': ('Port', 'Front door'),"
	"                 'state': ('Active', '')}>,"
	" 'namespaces': <{'topic0': 'tns1', 'topic1': 'tnsvexa'}>,"
	" 'tags': <{'port': ['onvif-source'], 'state': ['onvif-data', 'x']}>}";

Declaration parse(const char *text)
{
	util::VariantPtr variant = parse_variant(text);
	Declaration declaration;
	util::Error error;
	EXPECT_TRUE(
		declaration_from_variant(variant.get(), declaration, &error))
		<< error.message();
	return declaration;
}

Values parse_values(const char *text)
{
	return values_from_variant(parse_variant(text).get());
}

} // namespace

TEST(Declaration, IsReadWhole)
{
	Declaration declaration = parse(PORT_EVENT);

	EXPECT_EQ(declaration.type, "");
	EXPECT_EQ(declaration.property, "state");
	EXPECT_EQ(declaration.keys.size(), 4u);
	EXPECT_EQ(declaration.nice_names["port"].key, "Port");
	EXPECT_EQ(declaration.nice_names["port"].value, "Front door");
	EXPECT_EQ(declaration.namespaces["topic1"], "tnsvexa");
	EXPECT_EQ(declaration.tags["state"],
		  (std::vector<std::string>{"onvif-data", "x"}));
}

TEST(Declaration, MissingMembersStayEmpty)
{
	Declaration declaration = parse("@a{sv} {}");

	EXPECT_TRUE(declaration.keys.empty());
	EXPECT_EQ(declaration_text(declaration), "");
}

TEST(Declaration, MembersOfAnotherTypeAreErrors)
{
	for (const char *text :
	     {"{'type': <1>}", "{'property': <true>}", "{'keys': <'x'>}",
	      "{'keys': <{'a': 'b'}>}", "{'nice-names': <{'a': 'b'}>}",
	      "{'namespaces': <{'a': 1}>}", "{'tags': <{'a': 'b'}>}"}) {
		util::VariantPtr variant = parse_variant(text);
		Declaration declaration;
		util::Error error;
		EXPECT_FALSE(declaration_from_variant(variant.get(),
						      declaration, &error))
			<< text;
		EXPECT_TRUE(error) << text;
	}
}

TEST(Declaration, IsDescribedByValuesNamesStateAndType)
{
	EXPECT_EQ(declaration_text(parse(PORT_EVENT)),
		  "port=3 (Front door) [state: state]");
	EXPECT_EQ(declaration_text(parse("{'type': <'a.B'>}")), "[type: a.B]");
}

TEST(Topic, JoinsLevelsWithTheirNameSpaces)
{
	Declaration declaration = parse(PORT_EVENT);

	EXPECT_EQ(topic_text(declaration.keys, &declaration),
		  "tns1:Device/tnsvexa:IO/Port");
	EXPECT_EQ(topic_text(declaration.keys, nullptr), "Device/IO/Port");
}

TEST(Topic, LevelsAreInNumericOrder)
{
	EXPECT_EQ(topic_text(parse_values("{'topic10': <'k'>, 'topic0': <'a'>,"
					  " 'topic1': <'b'>, 'topic2': <'c'>,"
					  " 'topic3': <'d'>, 'topic4': <'e'>,"
					  " 'topic5': <'f'>, 'topic6': <'g'>,"
					  " 'topic7': <'h'>, 'topic8': <'i'>,"
					  " 'topic9': <'j'>}"),
			     nullptr),
		  "a/b/c/d/e/f/g/h/i/j/k");
}

TEST(Topic, IsEmptyWithoutAFirstLevel)
{
	Values values = parse_values("{'topic1': <'IO'>}");

	EXPECT_EQ(topic_text(values, nullptr), "");
	EXPECT_EQ(values_text(values), "topic1=\"IO\"");
}

TEST(Values, AreShownByType)
{
	EXPECT_EQ(values_text(parse_values(
			  "{'a': <-1>, 'b': <true>, 'c': <0.1>,"
			  " 'd': <'true'>, 'e': <[1, 2]>, 'topic0': <'T'>}")),
		  "a=-1 b=true c=0.1 d=\"true\" e=[1, 2]");
}

TEST(Values, AreMadeSafeForTheTerminal)
{
	EXPECT_EQ(values_text(parse_values("{'a\\n': <'\\u001b[2J\"'>}")),
		  "a\\n=\"\\x1b[2J\\\"\"");
}

TEST(Values, KeepTheirTypesInJson)
{
	JsonWriter json;
	add_values(json, parse_values("{'a': <-1>, 'b': <true>, 'c': <0.5>,"
				      " 'd': <'x'>, 'e': <[1]>}"));
	EXPECT_EQ(json.line(), "{\"keys\":{\"a\":-1,\"b\":true,\"c\":0.5,"
			       "\"d\":\"x\",\"e\":\"[1]\"}}");
}

TEST(Values, AreTheSameInEveryLocale)
{
	CommaLocale locale;
	Values values = parse_values("{'a': <1.5>}");
	JsonWriter json;
	add_values(json, values);
	EXPECT_EQ(values_text(values), "a=1.5");
	EXPECT_EQ(json.line(), "{\"keys\":{\"a\":1.5}}");
}

TEST(Declaration, IsWrittenWholeAsJson)
{
	JsonWriter json;
	add_declaration(json, parse("{'property': <'p'>,"
				    " 'nice-names': <{'a': ('A', 'B')}>,"
				    " 'namespaces': <{'a': 'n'}>,"
				    " 'tags': <{'a': ['t', 'u']}>}"));
	EXPECT_EQ(json.line(),
		  "{\"event_type\":\"\",\"property\":\"p\",\"keys\":{},"
		  "\"nice_names\":{\"a\":{\"key\":\"A\",\"value\":\"B\"}},"
		  "\"namespaces\":{\"a\":\"n\"},"
		  "\"tags\":{\"a\":[\"t\",\"u\"]}}");
}
