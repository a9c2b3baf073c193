#include "orvadctl/json-writer.h"

#include <gtest/gtest.h>

#include <limits>

using namespace orvadctl;

TEST(JsonWriter, WritesEachType)
{
	JsonWriter json;
	json.member("text", "a");
	json.member("number", guint32{4294967295u});
	json.member("negative", -1);
	json.member("yes", true);
	json.null_member("none");
	json.member("list", std::vector<std::string>{"a", "b"});
	EXPECT_EQ(json.line(), "{\"text\":\"a\",\"number\":4294967295,"
			       "\"negative\":-1,\"yes\":true,\"none\":null,"
			       "\"list\":[\"a\",\"b\"]}");
}

TEST(JsonWriter, NestsObjectsAndArrays)
{
	JsonWriter json;
	json.begin_array("ports");
	json.begin_object();
	json.member("a", 1);
	json.begin_object("b");
	json.end_object();
	json.end_object();
	json.end_array();
	json.member("c", 2);
	EXPECT_EQ(json.line(), "{\"ports\":[{\"a\":1,\"b\":{}}],\"c\":2}");
}

TEST(JsonWriter, NumbersThatJsonLacksBecomeNull)
{
	JsonWriter json;
	json.member("a", std::numeric_limits<double>::infinity());
	json.member("b", std::numeric_limits<double>::quiet_NaN());
	EXPECT_EQ(json.line(), "{\"a\":null,\"b\":null}");
}

TEST(JsonWriter, TextIsEscapedForJsonAndForTheTerminal)
{
	JsonWriter json;
	json.member("a", "\"\\\n\033\u009b");
	EXPECT_EQ(json.line(), "{\"a\":\"\\\"\\\\\\n\\u001b\\u009b\"}");
}

TEST(JsonWriter, DocumentIsIndented)
{
	JsonWriter json;
	json.member("a", 1);
	EXPECT_EQ(json.document(), "{\n  \"a\" : 1\n}");
}
