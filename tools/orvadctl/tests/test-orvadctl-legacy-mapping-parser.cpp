#include "orvadctl/legacy-mapping-parser.h"

#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

constexpr const char *PROPERTY =
	"<property dbus='a.B' object='/a/b' interface='a.B.C' name='Trig'>"
	"<type type='string'/></property>";
constexpr const char *OPTIONS =
	"<legacyoptions><legacyoption name='type' value='string'/>"
	"<legacyoption name='accessControl' value='viewer:1'/>"
	"</legacyoptions>";

/// A mapping of one parameter with that content.
std::string mapping(const std::string &content)
{
	return "<mapping><group name='root.X'><parameter name='Y'>" + content +
	       "</parameter></group></mapping>";
}

std::string property_with_type(const std::string &type)
{
	return "<property dbus='a.B' object='/a' interface='a.B' name='P'>" +
	       type + "</property>";
}

std::vector<LegacyParameter> parse_mapping(const std::string &text)
{
	std::vector<LegacyParameter> parameters;
	util::Error error;

	EXPECT_TRUE(parse_legacy_mapping(text, parameters, &error))
		<< text << '\n'
		<< error.message();
	return parameters;
}

/// The error of a text that must be refused.
std::string refusal(const std::string &text)
{
	std::vector<LegacyParameter> parameters;
	util::Error error;

	EXPECT_FALSE(parse_legacy_mapping(text, parameters, &error)) << text;
	EXPECT_TRUE(error) << text;
	return error.message();
}

void expect_refused(const std::string &text, const std::string &reason)
{
	std::string message = refusal(text);

	EXPECT_NE(message.find(reason), std::string::npos) << text << '\n'
							   << message;
}

} // namespace

TEST(LegacyMappingParser, ReadsParametersInFileOrder)
{
	auto parameters = parse_mapping(
		"<?xml version='1.0' encoding='UTF-8' ?>\n"
		"<mapping>\n"
		"  <group name='root.Input'>\n"
		"    <parameter name='NbrOfInputs'>\n"
		"      <property\n"
		"        dbus='a.Service'\n"
		"        object='/a/0'\n"
		"        interface='a.Counts'\n"
		"        name='Inputs'>\n"
		"        <type type='int' />\n"
		"      </property>\n"
		"      <legacyoptions>\n"
		"        <legacyoption name='type' value='readonly:int' />\n"
		"        <legacyoption name='accessControl' value='admin:1' "
		"/>\n"
		"      </legacyoptions>\n"
		"    </parameter>\n"
		"  </group>\n"
		"  <group name='root.IOPort.I3'>\n"
		"    <parameter name='Configurable'>" +
		property_with_type("<type type='bool' truevalue='yes' "
				   "falsevalue='no'/>") +
		OPTIONS + "</parameter>\n<parameter name='Usage'>" + PROPERTY +
		OPTIONS + "</parameter></group></mapping>\n");

	ASSERT_EQ(parameters.size(), 3u);
	const LegacyParameter &count = parameters[0];
	EXPECT_EQ(count.group, "root.Input");
	EXPECT_EQ(count.name, "NbrOfInputs");
	EXPECT_EQ(count.label(), "root.Input.NbrOfInputs");
	EXPECT_EQ(count.service, "a.Service");
	EXPECT_EQ(count.object, "/a/0");
	EXPECT_EQ(count.interface, "a.Counts");
	EXPECT_EQ(count.property, "Inputs");
	EXPECT_EQ(count.value_type, LegacyType::INTEGER);
	EXPECT_EQ(count.type, "readonly:int");
	EXPECT_EQ(count.access, "admin:1");
	EXPECT_EQ(parameters[1].label(), "root.IOPort.I3.Configurable");
	EXPECT_EQ(parameters[1].value_type, LegacyType::BOOLEAN);
	EXPECT_EQ(parameters[1].true_word, "yes");
	EXPECT_EQ(parameters[1].false_word, "no");
	EXPECT_EQ(parameters[2].label(), "root.IOPort.I3.Usage");
	EXPECT_EQ(parameters[2].value_type, LegacyType::TEXT);
}

TEST(LegacyMappingParser, UnescapesMarkupCharacters)
{
	auto parameters = parse_mapping(
		"<mapping><group name='a&amp;&lt;b&gt;'><parameter "
		"name='&quot;'>" +
		std::string(PROPERTY) + OPTIONS +
		"</parameter></group></mapping>");

	ASSERT_EQ(parameters.size(), 1u);
	EXPECT_EQ(parameters[0].group, "a&<b>");
	EXPECT_EQ(parameters[0].name, "\"");
}

TEST(LegacyMappingParser, ReadsAMappingWithoutParameters)
{
	EXPECT_TRUE(parse_mapping("<mapping/>").empty());
	EXPECT_TRUE(
		parse_mapping("<mapping><group name='g'/></mapping>").empty());
}

TEST(LegacyMappingParser, IgnoresUnknownElementsWithAllInside)
{
	auto parameters = parse_mapping(
		"<mapping version='2'>"
		"<note><group/><mapping><group/></mapping></note>"
		"<group name='root.X'><note><parameter/></note>"
		"<parameter name='Y'><note><property/></note><group/>" +
		std::string(PROPERTY) + OPTIONS +
		"text <note/></parameter></group><parameter/></mapping>");

	ASSERT_EQ(parameters.size(), 1u);
	EXPECT_EQ(parameters[0].label(), "root.X.Y");
}

TEST(LegacyMappingParser, IgnoresUnknownAttributesAndOptions)
{
	auto parameters = parse_mapping(mapping(
		"<property note='' dbus='a.B' object='/a' interface='a.B' "
		"name='P'><type unit='ms' type='int' truevalue='x'/></property>"
		"<legacyoptions>"
		"<legacyoption name='nicename'/>"
		"<legacyoption value='int' note='' name='type'/>"
		"<legacyoption name='accessControl' value='viewer:1'/>"
		"<legacyoption name='signal' value='1'/>"
		"</legacyoptions>"));

	ASSERT_EQ(parameters.size(), 1u);
	EXPECT_EQ(parameters[0].property, "P");
	EXPECT_EQ(parameters[0].value_type, LegacyType::INTEGER);
	EXPECT_EQ(parameters[0].type, "int");
	EXPECT_EQ(parameters[0].access, "viewer:1");
}

TEST(LegacyMappingParser, NamesTheParameterThatLacksAnElement)
{
	const std::string options = OPTIONS;
	const std::string property = PROPERTY;

	expect_refused(mapping(options), "root.X.Y has no property");
	expect_refused(mapping(property_with_type("") + options),
		       "root.X.Y has no type of its property");
	expect_refused(mapping(property), "root.X.Y has no option \"type\"");
	expect_refused(mapping(property +
			       "<legacyoptions><legacyoption name='type' "
			       "value='int'/></legacyoptions>"),
		       "root.X.Y has no option \"accessControl\"");
}

TEST(LegacyMappingParser, PartsOfOneParameterDoNotCountForTheNext)
{
	expect_refused("<mapping><group name='root.X'><parameter name='Y'>" +
			       std::string(PROPERTY) + OPTIONS +
			       "</parameter><parameter name='Z'>" + PROPERTY +
			       "</parameter></group></mapping>",
		       "root.X.Z has no option \"type\"");
}

TEST(LegacyMappingParser, NamesThePlaceThatLacksAnAttribute)
{
	for (std::string name : {"dbus", "object", "interface", "name"}) {
		std::string property = PROPERTY;
		property.replace(property.find(name + "="), name.size(), "x");
		expect_refused(mapping(property + OPTIONS),
			       "root.X.Y: \"property\" has no \"" + name +
				       "\"");
	}
	expect_refused(mapping(property_with_type("<type/>") + OPTIONS),
		       "root.X.Y: \"type\" has no \"type\"");
	expect_refused(mapping(property_with_type(
				       "<type type='bool' truevalue='y'/>") +
			       OPTIONS),
		       "root.X.Y: \"type\" has no \"falsevalue\"");
	expect_refused(mapping(property_with_type(
				       "<type type='bool' falsevalue='n'/>") +
			       OPTIONS),
		       "root.X.Y: \"type\" has no \"truevalue\"");
	for (const char *option :
	     {"name='type'", "name='accessControl'", "value='int'"})
		expect_refused(mapping(PROPERTY +
				       std::string("<legacyoptions>"
						   "<legacyoption ") +
				       option + "/></legacyoptions>"),
			       "root.X.Y: \"legacyoption\" has no");
	expect_refused("<mapping><group/></mapping>",
		       "the mapping: \"group\" has no \"name\"");
	expect_refused("<mapping><group name='g'><parameter/></group>"
		       "</mapping>",
		       "g: \"parameter\" has no \"name\"");
}

TEST(LegacyMappingParser, RefusesAServiceThatCannotBeOnTheBus)
{
	expect_refused(mapping("<property dbus='a b' object='/a' "
			       "interface='a.B' name='P'/>"),
		       "root.X.Y: there can be no \"a b\" on the bus");
}

TEST(LegacyMappingParser, KeepsTheObjectOfAPortWithoutANumber)
{
	auto parameters = parse_mapping(
		mapping("<property dbus='a.B' object='/a/-1' "
			"interface='a.B' name='P'><type type='int'/>"
			"</property>" +
			std::string(OPTIONS)));

	ASSERT_EQ(parameters.size(), 1u);
	EXPECT_EQ(parameters[0].object, "/a/-1");
}

TEST(LegacyMappingParser, RefusesUnknownTypes)
{
	expect_refused(mapping(property_with_type("<type type='double'/>")),
		       "root.X.Y: there is no type \"double\"");
}

TEST(LegacyMappingParser, RefusesOtherDocuments)
{
	expect_refused("<service name='a'/>", "it starts with \"service\"");
	for (const char *text :
	     {"", " ", "text", "<mapping>", "<mapping></group>", "<mapping",
	      "<mapping>&unknown;</mapping>", "<mapping a=1/>",
	      "\xff<mapping/>", "<mapping><group name='\xff'/></mapping>"})
		EXPECT_NE(refusal(text), "") << text;
	EXPECT_NE(refusal(std::string("<mapping/>\0", 11)), "");
}

TEST(LegacyMappingParser, SaysInWhichLineTheFaultIs)
{
	expect_refused("<mapping>\n<group/></mapping>", "line 2");
}

TEST(LegacyMappingParser, GetsThroughVeryDeepNesting)
{
	std::string text = "<mapping>";

	for (int i = 0; i < 100000; ++i)
		text += "<group>";
	expect_refused(text, "the mapping: \"group\" has no \"name\"");
	text = "<mapping>";
	for (int i = 0; i < 100000; ++i)
		text += "<note>";
	EXPECT_NE(refusal(text), "");
}
