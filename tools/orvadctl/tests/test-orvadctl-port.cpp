#include "orvadctl/error.h"
#include "orvadctl/port.h"
#include "util/glib-ptr.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

Port make_port(const char *name, gint32 number, const char *property)
{
	Port port;
	port.name = name;
	port.number = number;
	port.properties = {{property, true}};
	return port;
}

std::vector<Port> parse(const char *text, util::Error &error)
{
	util::VariantPtr variant(
		g_variant_ref_sink(g_variant_new_parsed(text)));
	std::vector<Port> ports;
	bool read = ports_from_variant(variant.get(), ports, &error);
	EXPECT_EQ(read, !error);
	return ports;
}

} // namespace

TEST(Port, IsReadFromTheDaemonsListing)
{
	util::Error error;
	std::vector<Port> ports =
		parse("[('io2', 2, true, false, true, true,"
		      "  [('ioport', true), ('hidden', false)]),"
		      " ('', -1, false, true, false, false, @a(sb) [])]",
		      error);

	ASSERT_EQ(ports.size(), 2u) << error.message();
	EXPECT_EQ(ports[0].name, "io2");
	EXPECT_EQ(ports[0].number, 2);
	EXPECT_TRUE(ports[0].active);
	EXPECT_FALSE(ports[0].input);
	EXPECT_TRUE(ports[0].configurable);
	EXPECT_TRUE(ports[0].open);
	EXPECT_TRUE(ports[0].has("ioport"));
	EXPECT_FALSE(ports[0].has("hidden"));
	EXPECT_EQ(ports[1].name, "");
	EXPECT_EQ(ports[1].number, -1);
	EXPECT_TRUE(ports[1].input);
}

TEST(Port, ListingOfAnotherTypeIsAnError)
{
	for (const char *text :
	     {"'x'", "[(1, 2)]", "@as []", "@a(siubbba(sb)) []"}) {
		util::Error error;
		EXPECT_TRUE(parse(text, error).empty()) << text;
		EXPECT_TRUE(error) << text;
	}
}

TEST(Port, KindIsVirtualOnlyWithoutHardware)
{
	Port port = make_port("x", 1, "ioport");
	EXPECT_STREQ(kind_text(port), "output");
	port.input = true;
	EXPECT_STREQ(kind_text(port), "input");
	port.configurable = true;
	EXPECT_STREQ(kind_text(port), "configurable");
	port.properties.emplace_back("virtual", true);
	EXPECT_STREQ(kind_text(port), "configurable");
	EXPECT_FALSE(port.only_virtual());
	port.properties = {{"virtual", true}, {"ioport", false}};
	EXPECT_STREQ(kind_text(port), "virtual");
	EXPECT_TRUE(port.only_virtual());
}

TEST(AddedPorts, AreThoseThatWereNotThere)
{
	const Port door = make_port("door", 1, "ioport");
	const Port lamp = make_port("lamp", 2, "ioport");
	const Port horn = make_port("horn", 3, "ioport");
	const auto added = added_ports({lamp, door}, {horn, door});

	ASSERT_EQ(added.size(), 1u);
	EXPECT_EQ(added[0].name, "horn");
	EXPECT_TRUE(added_ports({lamp, door}, {door, lamp}).empty());
	EXPECT_TRUE(added_ports({lamp}, {}).empty());
}

TEST(AddedPorts, MayShareNameOrNumber)
{
	const Port door = make_port("door", 1, "ioport");
	const Port other_name = make_port("lamp", 1, "ioport");
	const Port other_number = make_port("door", 2, "ioport");
	const auto added =
		added_ports({door}, {other_name, door, door, other_number});

	ASSERT_EQ(added.size(), 3u);
	EXPECT_EQ(added[0].name, "lamp");
	EXPECT_EQ(added[1].name, "door");
	EXPECT_EQ(added[1].number, 1);
	EXPECT_EQ(added[2].number, 2);
}

TEST(AddedPorts, AreNotThoseWithAnotherState)
{
	const Port before = make_port("door", 1, "ioport");
	Port after = before;

	after.active = true;
	EXPECT_TRUE(added_ports({before}, {after}).empty());
}

TEST(SelectPort, TakesNumberOrName)
{
	const std::vector<Port> ports = {make_port("door", 1, "ioport"),
					 make_port("lamp", 2, "ioport")};

	EXPECT_EQ(select_port(ports, "2", nullptr), &ports[1]);
	EXPECT_EQ(select_port(ports, "door", nullptr), &ports[0]);
}

TEST(SelectPort, NumberMayBeNegative)
{
	const std::vector<Port> ports = {make_port("door", 7, "ioport"),
					 make_port("lamp", -7, "ioport"),
					 make_port("horn", -8, "hidden")};

	EXPECT_EQ(select_port(ports, "-7", nullptr), &ports[1]);
	EXPECT_EQ(select_port(ports, "-8", nullptr), &ports[2]);
}

TEST(SelectPort, NumberOfNoneMeansThePortThatTheDaemonFinds)
{
	const std::vector<Port> ports = {make_port("a", -1, "ioport"),
					 make_port("b", -1, "hidden")};

	EXPECT_EQ(select_port(ports, "-1", nullptr), &ports[0]);
}

TEST(SelectPort, NumberWinsOverName)
{
	const std::vector<Port> ports = {make_port("2", 1, "ioport"),
					 make_port("1", 2, "ioport")};

	EXPECT_EQ(select_port(ports, "2", nullptr), &ports[1]);
}

TEST(SelectPort, NameMayLookLikeANumberThatNoPortHas)
{
	const std::vector<Port> ports = {make_port("4294967297", 1, "ioport"),
					 make_port("7", 2, "ioport")};

	EXPECT_EQ(select_port(ports, "7", nullptr), &ports[1]);
	EXPECT_EQ(select_port(ports, "4294967297", nullptr), &ports[0]);
}

TEST(SelectPort, UnknownPortIsAnError)
{
	const std::vector<Port> ports = {make_port("door", 1, "ioport"),
					 make_port("", -1, "hidden")};

	for (const char *text :
	     {"2", "4294967295", "4294967297", "-1", "Door", ""}) {
		util::Error error;
		EXPECT_EQ(select_port(ports, text, &error), nullptr) << text;
		EXPECT_TRUE(error) << text;
		EXPECT_FALSE(is_usage_error(error.get())) << text;
	}
}

TEST(SelectPort, NameOfSeveralPortsIsAnError)
{
	const std::vector<Port> ports = {make_port("door", 1, "ioport"),
					 make_port("door", 2, "ioport")};
	util::Error error;

	EXPECT_EQ(select_port(ports, "door", &error), nullptr);
	EXPECT_TRUE(error);
	EXPECT_EQ(select_port(ports, "1", nullptr), &ports[0]);
}

TEST(SelectPort, SharedNumberMeansThePortThatTheDaemonFinds)
{
	// The daemon looks from the end of its list, past ports that cannot be
	// found by number.
	const std::vector<Port> ports = {make_port("a", 1, "ioport"),
					 make_port("b", 1, "virtual"),
					 make_port("c", 1, "hidden")};

	EXPECT_EQ(select_port(ports, "1", nullptr), &ports[1]);
	EXPECT_TRUE(check_reachable(ports, ports[1], nullptr));
}

TEST(CheckReachable, PortBehindAnotherOfItsNumberIsRefused)
{
	const std::vector<Port> ports = {make_port("a", 1, "ioport"),
					 make_port("b", 1, "virtual")};
	util::Error error;

	EXPECT_FALSE(check_reachable(ports, ports[0], &error));
	EXPECT_STREQ(error.message(),
		     "port 1 (a) cannot be reached: its number "
		     "leads to another port");
}

TEST(CheckReachable, PortThatIsNeitherRealNorVirtualIsRefused)
{
	const std::vector<Port> ports = {make_port("a", 1, "hidden")};
	util::Error error;

	EXPECT_FALSE(check_reachable(ports, ports[0], &error));
	EXPECT_TRUE(error);
}

TEST(PortLabel, LeavesAnEmptyNameOut)
{
	EXPECT_EQ(port_label(3, "door"), "port 3 (door)");
	EXPECT_EQ(port_label(3, ""), "port 3");
}

TEST(ReachedPort, IsTheLastOneOfThatNumber)
{
	const std::vector<Port> ports = {make_port("first", 1, "ioport"),
					 make_port("last", 1, "virtual"),
					 make_port("unset", 1, "hidden"),
					 make_port("bare", 2, "hidden")};

	ASSERT_NE(reached_port(ports, 1), nullptr);
	EXPECT_EQ(reached_port(ports, 1)->name, "last");
	EXPECT_EQ(reached_port(ports, 2), nullptr);
}
