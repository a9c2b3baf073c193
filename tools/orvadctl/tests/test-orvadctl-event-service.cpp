#include "orvadctl/event-service.h"
#include "parse-variant.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

util::VariantPtr introspected(const char *xml)
{
	return util::VariantPtr(g_variant_ref_sink(g_variant_new("(s)", xml)));
}

} // namespace

TEST(Producers, AreTheNodesThatCanBeCalled)
{
	util::VariantPtr answer = introspected(
		"<node><node name='qel'/><node/><node name='a b'/>"
		"<node name=''/><node name='other_1'><node name='below'/>"
		"</node></node>");
	std::vector<std::string> producers;
	util::Error error;

	ASSERT_TRUE(producers_from_answer(answer.get(), producers, &error));
	EXPECT_EQ(producers, (std::vector<std::string>{"qel", "other_1"}));
}

TEST(Producers, CanBeNone)
{
	util::VariantPtr answer = introspected("<node/>");
	std::vector<std::string> producers;
	util::Error error;

	EXPECT_TRUE(producers_from_answer(answer.get(), producers, &error));
	EXPECT_TRUE(producers.empty());
}

TEST(Producers, OfABrokenAnswerAreAnError)
{
	for (const char *xml : {"", "<node>", "<interface/>", "no"}) {
		util::VariantPtr answer = introspected(xml);
		std::vector<std::string> producers;
		util::Error error;
		EXPECT_FALSE(
			producers_from_answer(answer.get(), producers, &error))
			<< xml;
		EXPECT_TRUE(error) << xml;
	}
}

TEST(ListedDeclarations, AreReadInTheirOrder)
{
	util::VariantPtr answer = parse_variant(
		"([(uint32 7, {'type': <'b'>}), (3, {'type': <'a'>})],)");
	auto declarations = declarations_from_answer(answer.get());

	ASSERT_EQ(declarations.size(), 2u);
	EXPECT_EQ(declarations[0].first, 7u);
	EXPECT_EQ(declarations[0].second.type, "b");
	EXPECT_EQ(declarations[1].first, 3u);
	EXPECT_EQ(declarations[1].second.type, "a");
}

TEST(ListedDeclarations, LeaveOutWhatCannotBeRead)
{
	util::VariantPtr answer = parse_variant(
		"([(uint32 1, {'type': <5>}), (2, {'keys': <'x'>}),"
		" (3, {'type': <'a'>})],)");
	testing::internal::CaptureStderr();
	auto declarations = declarations_from_answer(answer.get());

	EXPECT_EQ(testing::internal::GetCapturedStderr(),
		  "orvadctl: \"type\" of an event's description is \"i\"\n"
		  "orvadctl: \"keys\" of an event's description is \"s\"\n");
	ASSERT_EQ(declarations.size(), 1u);
	EXPECT_EQ(declarations[0].first, 3u);
}
