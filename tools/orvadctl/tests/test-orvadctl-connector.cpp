#include "orvadctl/connector.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

Port make_port(const char *name, gint32 number,
	       std::vector<std::string> properties)
{
	Port port;
	port.name = name;
	port.number = number;
	for (std::string &property : properties)
		port.properties.emplace_back(std::move(property), true);
	return port;
}

const std::vector<Port> PORTS = {
	make_port("speaker", 4, {"audio_connector"}),
	make_port("door", 3, {"ioport"}),
	make_port("hdmi", 2, {"audio_connector", "video_connector"}),
	make_port("bnc", 1, {"video_connector"}),
};

std::vector<std::string> names(const std::vector<Connector> &connectors)
{
	std::vector<std::string> list;

	for (const Connector &connector : connectors)
		list.push_back(connector.name);
	return list;
}

} // namespace

TEST(ConnectorKind, HasAWordAndADescriptor)
{
	EXPECT_EQ(parse_connector_kind("video"), ConnectorKind::VIDEO);
	EXPECT_EQ(parse_connector_kind("audio"), ConnectorKind::AUDIO);
	for (const char *word : {"", "*", "Video", "video connector", "any"})
		EXPECT_FALSE(parse_connector_kind(word)) << word;
	EXPECT_STREQ(connector_descr(ConnectorKind::ANY), "*");
	EXPECT_STREQ(connector_descr(ConnectorKind::VIDEO), "video connector");
	EXPECT_STREQ(connector_descr(ConnectorKind::AUDIO), "audio connector");
}

TEST(Connectors, TakeNamesAndStatesInTheSameOrder)
{
	auto connectors =
		make_connectors(PORTS, ConnectorKind::ANY, {true, false, true});

	EXPECT_EQ(names(connectors),
		  (std::vector<std::string>{"speaker", "hdmi", "bnc"}));
	EXPECT_EQ(connectors[0].kind, ConnectorKind::AUDIO);
	EXPECT_EQ(connectors[0].number, 4);
	EXPECT_TRUE(connectors[0].in_use);
	EXPECT_EQ(connectors[1].kind, ConnectorKind::VIDEO);
	EXPECT_FALSE(connectors[1].in_use);
	EXPECT_TRUE(connectors[2].in_use);
}

TEST(Connectors, OfBothKindsAreOfTheKindThatIsAskedFor)
{
	auto video =
		make_connectors(PORTS, ConnectorKind::VIDEO, {false, true});
	auto audio =
		make_connectors(PORTS, ConnectorKind::AUDIO, {false, true});

	EXPECT_EQ(names(video), (std::vector<std::string>{"hdmi", "bnc"}));
	EXPECT_EQ(names(audio), (std::vector<std::string>{"speaker", "hdmi"}));
	EXPECT_EQ(video[0].kind, ConnectorKind::VIDEO);
	EXPECT_EQ(audio[1].kind, ConnectorKind::AUDIO);
	EXPECT_TRUE(audio[1].in_use);
}

TEST(Connectors, HaveNoNamesWhenTheListsDisagree)
{
	for (std::size_t count : {2, 4}) {
		auto connectors =
			make_connectors(PORTS, ConnectorKind::ANY,
					std::vector<bool>(count, true));
		ASSERT_EQ(connectors.size(), count);
		for (const Connector &connector : connectors) {
			EXPECT_EQ(connector.name, "");
			EXPECT_FALSE(connector.number.has_value());
			EXPECT_EQ(connector.kind, ConnectorKind::ANY);
			EXPECT_TRUE(connector.in_use);
		}
	}
	EXPECT_TRUE(make_connectors(PORTS, ConnectorKind::ANY, {}).empty());
}

TEST(Connectors, KeepTheKindThatWasAskedForWhenTheListsDisagree)
{
	auto connectors = make_connectors(PORTS, ConnectorKind::AUDIO, {false});

	ASSERT_EQ(connectors.size(), 1u);
	EXPECT_EQ(connectors[0].kind, ConnectorKind::AUDIO);
}

TEST(Connectors, AreATableWithTheirCount)
{
	EXPECT_EQ(
		connectors_text({{ConnectorKind::VIDEO, "a\n", 12, true},
				 {ConnectorKind::AUDIO, "", NO_NUMBER, false},
				 {ConnectorKind::ANY, "", std::nullopt, true}},
				false),
		"KIND   NAME  NUMBER  STATE\n"
		"video  a\\n   12      in use\n"
		"audio  -     -       not in use\n"
		"-      -     -       in use\n"
		"3 connectors, 2 in use\n");
	EXPECT_EQ(connectors_text({}, false), "KIND  NAME  NUMBER  STATE\n"
					      "0 connectors, 0 in use\n");
}

TEST(Connectors, AreCountedInTheSingularToo)
{
	EXPECT_TRUE(
		connectors_text({{ConnectorKind::VIDEO, "a", 1, false}}, false)
			.ends_with("\n1 connector, 0 in use\n"));
}
