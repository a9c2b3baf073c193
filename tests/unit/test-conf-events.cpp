#include "conf-fixture.h"

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using ConfEventTest = ConfTest;

TEST_F(ConfEventTest, AnEventAppliesToBothSidesAndNotToSupervisionByDefault)
{
	const PortRef port = port_with("<event/>");
	EXPECT_EQ(event_of(port).name, std::nullopt);
	EXPECT_TRUE(event_of(port).for_output);
	EXPECT_TRUE(event_of(port).for_input);
	EXPECT_FALSE(event_of(port).for_supervised);
	EXPECT_FALSE(event_of(port).declare_only);
	EXPECT_THAT(event_of(port).keys, IsEmpty());
}

TEST_F(ConfEventTest, TheFlagsOfAnEventAreWordsInAnyCase)
{
	const PortRef port =
		port_with("<event output=\"FALSE\" input=\"False\" "
			  "supervised_input=\"TRUE\" declare_only=\"True\"/>");
	EXPECT_FALSE(event_of(port).for_output);
	EXPECT_FALSE(event_of(port).for_input);
	EXPECT_TRUE(event_of(port).for_supervised);
	EXPECT_TRUE(event_of(port).declare_only);
}

TEST_F(ConfEventTest, OtherWordsLeaveTheFlagsOfAnEventAlone)
{
	const PortRef port =
		port_with("<event output=\"0\" input=\"no\" "
			  "supervised_input=\"1\" declare_only=\"\"/>");
	EXPECT_TRUE(event_of(port).for_output);
	EXPECT_TRUE(event_of(port).for_input);
	EXPECT_FALSE(event_of(port).for_supervised);
	EXPECT_FALSE(event_of(port).declare_only);
}

TEST_F(ConfEventTest, ALaterDeclarationNameReplacesAnEarlierOne)
{
	EXPECT_EQ(event_of(port_with("<event declaration=\"A\" "
				     "declaration=\"B\"/>"))
			  .name,
		  "B");
}

TEST_F(ConfEventTest, TheNewestEventComesFirstAndIsTheCurrentOne)
{
	const PortRef port =
		port_with("<event declaration=\"A\"/><event declaration=\"B\"/>"
			  "<keyvalue key=\"k\"/>");
	ASSERT_EQ(port->events.size(), 2U);
	EXPECT_EQ(port->events.front()->name, "B");
	EXPECT_EQ(port->events.front()->keys.size(), 1U);
	EXPECT_EQ(port->events.back()->name, "A");
	EXPECT_THAT(port->events.back()->keys, IsEmpty());
}

TEST_F(ConfEventTest, AKeyHoldsWhatItsAttributesSay)
{
	const PortRef port =
		port_with("<event declaration=\"A\"/>"
			  "<keyvalue key=\"k\" value=\"v\" type=\"int\" "
			  "key-nice-name=\"kn\" value-nice-name=\"vn\" "
			  "property=\"TRUE\"/>");
	const EventKey &key = event_of(port).keys.front();
	EXPECT_EQ(key.key, "k");
	EXPECT_EQ(key.value, "v");
	EXPECT_EQ(key.type, "int");
	EXPECT_EQ(key.key_nice_name, "kn");
	EXPECT_EQ(key.value_nice_name, "vn");
	EXPECT_TRUE(key.property);
}

TEST_F(ConfEventTest, AKeyWithoutAttributesIsUnsetAndNoState)
{
	const PortRef port = port_with("<event/><keyvalue/>");
	const EventKey &key = event_of(port).keys.front();
	EXPECT_EQ(key.key, std::nullopt);
	EXPECT_EQ(key.value, std::nullopt);
	EXPECT_EQ(key.type, std::nullopt);
	EXPECT_EQ(key.key_nice_name, std::nullopt);
	EXPECT_EQ(key.value_nice_name, std::nullopt);
	EXPECT_FALSE(key.property);
}

TEST_F(ConfEventTest, OtherWordsLeaveAKeysPropertyAlone)
{
	const PortRef port = port_with(
		"<event/><keyvalue property=\"true\" property=\"1\"/>");
	EXPECT_TRUE(event_of(port).keys.front().property);
}

TEST_F(ConfEventTest, TheNewestKeyComesFirst)
{
	const PortRef port =
		port_with("<event/><keyvalue key=\"a\"/><keyvalue key=\"b\"/>");
	EXPECT_EQ(event_of(port).keys.front().key, "b");
	EXPECT_EQ(event_of(port).keys.back().key, "a");
}

TEST_F(ConfEventTest, AKeyWithoutAnEventIsIgnoredWithOneWarning)
{
	const PortRef port = port_with("<port_no nbr=\"2\"/>"
				       "<keyvalue key=\"a\" type=\"int\"/>");
	EXPECT_THAT(port->events, IsEmpty());
	EXPECT_THAT(log_.warnings(), ElementsAre(HasSubstr("port 2")));
}

} // namespace
