#include "orvadctl/supervision-list.h"

#include <gtest/gtest.h>

using namespace orvadctl;

TEST(SupervisionList, IsATableWithItsCounts)
{
	EXPECT_EQ(
		supervision_text({{{2, "do\nor", true}, {-7, "", false}}, 3, 2},
				 false),
		"NAME    NUMBER  SUPERVISED\n"
		"do\\nor  2       yes\n"
		"-       -7      no\n"
		"2 of 5 ports can be supervised, 1 is\n");
	EXPECT_EQ(supervision_text({{}, 0, 0}, false),
		  "NAME  NUMBER  SUPERVISED\n"
		  "0 of 0 ports can be supervised, 0 are\n");
}

TEST(SupervisionList, AsJsonIsOneDocument)
{
	EXPECT_EQ(supervision_json({{{2, "door", true}}, 3, 2}),
		  "{\n"
		  "  \"ports\" : [\n"
		  "    {\n"
		  "      \"number\" : 2,\n"
		  "      \"name\" : \"door\",\n"
		  "      \"supervised\" : true\n"
		  "    }\n"
		  "  ],\n"
		  "  \"inputs\" : 3,\n"
		  "  \"outputs\" : 2\n"
		  "}");
}
