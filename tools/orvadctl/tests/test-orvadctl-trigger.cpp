#include "orvadctl/trigger.h"

#include <gtest/gtest.h>

using namespace orvadctl;

namespace
{

constexpr const char *EVENT_TYPE = "com.vexa.Event.Qel.ManualTrigger";

Port make_port(const char *name, gint32 number, bool active = false)
{
	Port port;
	port.name = name;
	port.number = number;
	port.active = active;
	port.properties = {{"virtual", true}};
	return port;
}

/// @param channel the event's value of the key "port", in GVariant's notation.
Declaration make_declaration(const char *type, const char *channel)
{
	Declaration declaration;
	declaration.type = type;
	declaration.keys["port"] = util::VariantPtr(
		g_variant_ref_sink(g_variant_new_parsed(channel)));
	return declaration;
}

/// Whether the trigger of channel 2 is enabled when that is declared.
bool enabled_by(Declaration declaration)
{
	auto triggers = triggers_from_ports({make_port("manualtrigger2", 6)});
	std::vector<LiveDeclaration> declarations;
	declarations.push_back({"qel", 1, std::move(declaration)});
	set_enabled(triggers, declarations);
	return triggers.at(0).enabled.value();
}

} // namespace

TEST(Triggers, AreSortedByChannel)
{
	auto triggers =
		triggers_from_ports({make_port("manualtrigger10", 14),
				     make_port("manualtrigger2", 6),
				     make_port("manualtrigger1", 5, true)});

	ASSERT_EQ(triggers.size(), 3u);
	EXPECT_EQ(triggers[0].channel, 1);
	EXPECT_EQ(triggers[0].number, 5);
	EXPECT_TRUE(triggers[0].active);
	EXPECT_EQ(triggers[1].channel, 2);
	EXPECT_EQ(triggers[2].channel, 10);
	EXPECT_FALSE(triggers[2].active);
	EXPECT_FALSE(triggers[2].enabled.has_value());
}

TEST(Triggers, AreNamedAsTheDaemonNamesThem)
{
	for (const char *name :
	     {"", "manualtrigger", "manualtrigger0", "manualtrigger-1",
	      "manualtrigger+1", "manualtrigger 1", "manualtrigger01",
	      "manualtrigger1x", "manualtrigger2147483648", "Manualtrigger1",
	      "amanualtrigger1"})
		EXPECT_TRUE(triggers_from_ports({make_port(name, 5)}).empty())
			<< name;
	auto last =
		triggers_from_ports({make_port("manualtrigger2147483647", 5)});
	ASSERT_EQ(last.size(), 1u);
	EXPECT_EQ(last[0].channel, G_MAXINT32);
}

TEST(Triggers, AreVirtualPorts)
{
	Port port = make_port("manualtrigger1", 5);

	port.properties = {{"virtual", true}, {"ioport", true}};
	EXPECT_TRUE(triggers_from_ports({port}).empty());
	port.properties = {{"virtual", false}};
	EXPECT_TRUE(triggers_from_ports({port}).empty());
}

TEST(Triggers, AreEnabledWhileTheirEventIsDeclared)
{
	EXPECT_TRUE(enabled_by(make_declaration(EVENT_TYPE, "2")));
	EXPECT_FALSE(enabled_by(make_declaration(EVENT_TYPE, "1")));
	EXPECT_FALSE(enabled_by(make_declaration("", "2")));
}

TEST(Triggers, AreNotEnabledByAChannelOfAnotherType)
{
	for (const char *channel : {"'2'", "uint32 2", "2.0", "true"})
		EXPECT_FALSE(enabled_by(make_declaration(EVENT_TYPE, channel)))
			<< channel;
	Declaration without;
	without.type = EVENT_TYPE;
	EXPECT_FALSE(enabled_by(std::move(without)));
}

TEST(Triggers, AreNotEnabledWhenNothingIsDeclared)
{
	auto triggers = triggers_from_ports({make_port("manualtrigger1", 5)});

	set_enabled(triggers, {});
	EXPECT_EQ(triggers.at(0).enabled, std::optional(false));
}

TEST(Triggers, AreATable)
{
	EXPECT_EQ(triggers_text({{1, 5, true, true},
				 {2, 6, false, false},
				 {3, NO_NUMBER, false, std::nullopt}},
				false),
		  "CHANNEL  NUMBER  ENABLED  STATE\n"
		  "1        5       yes      active\n"
		  "2        6       no       inactive\n"
		  "3        -       -        inactive\n");
	EXPECT_EQ(triggers_text({}, false),
		  "CHANNEL  NUMBER  ENABLED  STATE\n");
}
