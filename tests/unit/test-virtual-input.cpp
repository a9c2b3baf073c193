// Which channels have a trigger, and which triggers are enabled: what the
// reports of the two services lead to. There is no bus.

#include "platform/virtual-input.h"

#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"
#include "list-fixture.h"
#include "log-capture.h"

#include <algorithm>
#include <ostream>

namespace
{

using testing::AllOf;
using testing::Bool;
using testing::Combine;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;
using testing::Values;

constexpr const char *kEvent = "com.vexa.Event.Qel.ManualTrigger";

/// What there is of a trigger.
enum class Trigger { NONE, DISABLED, ENABLED };

std::ostream &operator<<(std::ostream &out, Trigger trigger)
{
	return out << std::vector{"none", "disabled", "enabled"}.at(
		       static_cast<size_t>(trigger));
}

std::string trigger_name(int channel)
{
	return "manualtrigger" + std::to_string(channel);
}

PortRef find(int channel)
{
	return io_port_list_get_by_name(trigger_name(channel).c_str());
}

Trigger trigger(int channel)
{
	const PortRef port = find(channel);
	if (!port)
		return Trigger::NONE;
	return port->enabled ? Trigger::ENABLED : Trigger::DISABLED;
}

/// Starts and ends with PTZ off, no enabled channel and no port.
class VirtualInputTest : public ListTest
{
protected:
	VirtualInputTest()
	{
		start_over();
	}
	~VirtualInputTest() override
	{
		start_over();
	}

	/// A trigger that no report has led to.
	static void have(int channel, Trigger wanted)
	{
		if (wanted == Trigger::NONE)
			return;
		const PortRef port = io_port_create_manual_trigger(channel);
		io_port_set_enabled(port.get(), wanted == Trigger::ENABLED);
		io_port_list_add(port);
		recorder::reset();
	}

	/// The channels that are reported enabled, in order: each gets a
	/// trigger when there is none.
	static std::vector<std::string> enabled_channels()
	{
		io_port_list_free();
		recorder::reset();
		virtual_input_finalize();
		auto found = ListTest::names();
		std::ranges::reverse(found);
		return found;
	}

	/// PTZ, with what that does to triggers undone.
	static void begin_with(PtzEnabled ptz)
	{
		virtual_input_set_ptz_enabled(ptz);
		virtual_input_finalize();
		io_port_list_free();
		recorder::reset();
	}

private:
	static void start_over()
	{
		begin_with(PTZ_OFF);
	}
};

std::string declared(int channel)
{
	return "io_event_declare_event(" + trigger_name(channel) + ", " +
	       kEvent + ")";
}

std::string undeclared()
{
	return std::string("io_event_undeclare_event(") + kEvent + ")";
}

// ---- reports of a channel ----

struct Report {
	int channel;
	Trigger before;
	bool enabled;
	Trigger after;
};

void PrintTo(const Report &report, std::ostream *out)
{
	*out << "channel " << report.channel << ", trigger " << report.before
	     << ", reported " << report.enabled;
}

class PtzOffTest : public VirtualInputTest,
		   public testing::WithParamInterface<Report>
{
};

TEST_P(PtzOffTest, OnlyANewTriggerOfChannel1IsEnabledAndNoneChanges)
{
	have(GetParam().channel, GetParam().before);
	virtual_input_set_channel_enabled(GetParam().channel,
					  GetParam().enabled);
	EXPECT_EQ(trigger(GetParam().channel), GetParam().after);
	EXPECT_THAT(names(), ElementsAre(trigger_name(GetParam().channel)));
}

INSTANTIATE_TEST_SUITE_P(
	Reports, PtzOffTest,
	Values(Report{1, Trigger::NONE, true, Trigger::ENABLED},
	       Report{1, Trigger::NONE, false, Trigger::ENABLED},
	       Report{2, Trigger::NONE, true, Trigger::DISABLED},
	       Report{2, Trigger::NONE, false, Trigger::DISABLED},
	       Report{256, Trigger::NONE, true, Trigger::DISABLED},
	       Report{1, Trigger::DISABLED, true, Trigger::DISABLED},
	       Report{1, Trigger::DISABLED, false, Trigger::DISABLED},
	       Report{1, Trigger::ENABLED, true, Trigger::ENABLED},
	       Report{1, Trigger::ENABLED, false, Trigger::ENABLED},
	       Report{2, Trigger::DISABLED, true, Trigger::DISABLED},
	       Report{2, Trigger::DISABLED, false, Trigger::DISABLED},
	       Report{2, Trigger::ENABLED, true, Trigger::ENABLED},
	       Report{2, Trigger::ENABLED, false, Trigger::ENABLED}));

class PtzOnOrUnknownTest : public VirtualInputTest,
			   public testing::WithParamInterface<
				   std::tuple<PtzEnabled, int, Trigger, bool>>
{
};

TEST_P(PtzOnOrUnknownTest, ATriggerFollowsItsChannel)
{
	const auto [ptz, channel, before, enabled] = GetParam();
	begin_with(ptz);
	have(channel, before);
	virtual_input_set_channel_enabled(channel, enabled);
	EXPECT_EQ(trigger(channel),
		  enabled ? Trigger::ENABLED : Trigger::DISABLED);
	EXPECT_THAT(names(), ElementsAre(trigger_name(channel)));
}

INSTANTIATE_TEST_SUITE_P(Reports, PtzOnOrUnknownTest,
			 Combine(Values(PTZ_ON, PTZ_UNKNOWN), Values(1, 2, 256),
				 Values(Trigger::NONE, Trigger::DISABLED,
					Trigger::ENABLED),
				 Bool()));

TEST_F(VirtualInputTest, ANewTriggerIsSetUpAndDeclaredAndThenListed)
{
	begin_with(PTZ_ON);
	virtual_input_set_channel_enabled(3, true);
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("virtual.setup(manualtrigger3, 0)", declared(3),
			    "actionengine_dbus_update_action_registration(0)"));
}

TEST_F(VirtualInputTest, ANewDisabledTriggerIsNotDeclared)
{
	begin_with(PTZ_ON);
	virtual_input_set_channel_enabled(3, false);
	EXPECT_EQ(recorder::count("io_event_"), 0U);
}

TEST_F(VirtualInputTest, ARepeatedReportChangesNothing)
{
	begin_with(PTZ_ON);
	for (const bool enabled : {true, false}) {
		virtual_input_set_channel_enabled(1, enabled);
		recorder::reset();
		virtual_input_set_channel_enabled(1, enabled);
		EXPECT_THAT(recorder::calls(), IsEmpty());
	}
	EXPECT_THAT(names(), ElementsAre("manualtrigger1"));
}

TEST_F(VirtualInputTest, AnExistingTriggerIsDeclaredAndWithdrawn)
{
	begin_with(PTZ_ON);
	virtual_input_set_channel_enabled(2, true);
	recorder::reset();
	virtual_input_set_channel_enabled(2, false);
	virtual_input_set_channel_enabled(2, true);
	EXPECT_THAT(recorder::calls(), ElementsAre(undeclared(), declared(2)));
}

TEST_F(VirtualInputTest, TriggersAreListedTheNewestFirst)
{
	begin_with(PTZ_ON);
	add_port(PORT_INPUT, 0, "door");
	for (const int channel : {2, 1, 3})
		virtual_input_set_channel_enabled(channel, channel != 1);
	EXPECT_THAT(names(), ElementsAre("manualtrigger3", "manualtrigger1",
					 "manualtrigger2", "door"));
}

TEST_F(VirtualInputTest, OnlyTheListKeepsATrigger)
{
	begin_with(PTZ_ON);
	virtual_input_set_channel_enabled(1, true);
	virtual_input_set_channel_enabled(1, false);
	virtual_input_set_ptz_enabled(PTZ_UNKNOWN);
	const PortRef port = find(1);
	EXPECT_EQ(port->ref_count, 2);
	io_port_list_free_by_name("manualtrigger1");
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(VirtualInputTest, APortOfTheConfigurationMayHaveATriggerSName)
{
	const PortRef port = add_port(PORT_INPUT, 0, "manualtrigger1");
	virtual_input_set_channel_enabled(1, false);
	EXPECT_TRUE(port->enabled);
	virtual_input_set_ptz_enabled(PTZ_ON);
	virtual_input_set_channel_enabled(1, false);
	EXPECT_FALSE(port->enabled);
	EXPECT_THAT(names(), ElementsAre("manualtrigger1"));
}

TEST_F(VirtualInputTest, OnlyTheWholeNameIsATriggerS)
{
	begin_with(PTZ_ON);
	add_port(PORT_INPUT, 0, "manualtrigger10");
	virtual_input_set_channel_enabled(1, true);
	EXPECT_THAT(names(), ElementsAre("manualtrigger1", "manualtrigger10"));
}

// ---- the enabled channels ----

TEST_F(VirtualInputTest, ChannelsAreKeptInTheOrderOfTheirFirstReport)
{
	for (const int channel : {3, 1, 2, 3, 1})
		virtual_input_set_channel_enabled(channel, true);
	EXPECT_THAT(enabled_channels(),
		    ElementsAre("manualtrigger3", "manualtrigger1",
				"manualtrigger2"));
}

TEST_F(VirtualInputTest, AChannelThatWasDisabledComesLast)
{
	for (const int channel : {1, 2, 3, 1, 2})
		virtual_input_set_channel_enabled(channel, true);
	virtual_input_set_channel_enabled(1, false);
	virtual_input_set_channel_enabled(2, false);
	virtual_input_set_channel_enabled(1, true);
	EXPECT_THAT(enabled_channels(),
		    ElementsAre("manualtrigger3", "manualtrigger1"));
}

TEST_F(VirtualInputTest, AChannelThatNeverWasEnabledIsNotAmongThem)
{
	virtual_input_set_channel_enabled(1, false);
	virtual_input_set_channel_enabled(2, false);
	EXPECT_THAT(enabled_channels(), IsEmpty());
}

// ---- reports of PTZ ----

class PtzReportTest : public VirtualInputTest,
		      public testing::WithParamInterface<PtzEnabled>
{
};

TEST_P(PtzReportTest, WithoutAChannelTheFirstOneIsEnabled)
{
	virtual_input_set_ptz_enabled(GetParam());
	EXPECT_EQ(trigger(1), Trigger::ENABLED);
	EXPECT_THAT(enabled_channels(), ElementsAre("manualtrigger1"));
}

INSTANTIATE_TEST_SUITE_P(Values, PtzReportTest,
			 Values(PTZ_OFF, PTZ_ON, PTZ_UNKNOWN));

class PtzNotOffTest : public PtzReportTest
{
};

TEST_P(PtzNotOffTest, EveryEnabledChannelGetsAnEnabledTriggerInOrder)
{
	for (const int channel : {3, 2, 1})
		virtual_input_set_channel_enabled(channel, channel != 1);
	io_port_list_free_by_name("manualtrigger2");
	recorder::reset();
	virtual_input_set_ptz_enabled(GetParam());
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre(declared(3), "virtual.setup(manualtrigger2, 0)",
			    declared(2),
			    "actionengine_dbus_update_action_registration(0)"));
	EXPECT_EQ(trigger(2), Trigger::ENABLED);
	EXPECT_EQ(trigger(3), Trigger::ENABLED);
}

TEST_P(PtzNotOffTest, ChannelsThatAreNotEnabledAreLeftAlone)
{
	have(3, Trigger::ENABLED);
	have(4, Trigger::DISABLED);
	virtual_input_set_channel_enabled(2, true);
	virtual_input_set_channel_enabled(3, false);
	virtual_input_set_channel_enabled(4, false);
	virtual_input_set_ptz_enabled(GetParam());
	EXPECT_EQ(trigger(2), Trigger::ENABLED);
	EXPECT_EQ(trigger(3), Trigger::ENABLED);
	EXPECT_EQ(trigger(4), Trigger::DISABLED);
	EXPECT_EQ(trigger(1), Trigger::NONE);
}

TEST_P(PtzNotOffTest, WithoutAChannelADisabledFirstTriggerIsEnabled)
{
	have(1, Trigger::DISABLED);
	have(2, Trigger::DISABLED);
	virtual_input_set_ptz_enabled(GetParam());
	EXPECT_EQ(trigger(1), Trigger::ENABLED);
	EXPECT_EQ(trigger(2), Trigger::DISABLED);
}

INSTANTIATE_TEST_SUITE_P(Values, PtzNotOffTest, Values(PTZ_ON, PTZ_UNKNOWN));

TEST_F(VirtualInputTest, PtzOffLeavesTheTriggersThatThereAre)
{
	begin_with(PTZ_ON);
	for (const int channel : {1, 2, 3})
		virtual_input_set_channel_enabled(channel, channel != 1);
	recorder::reset();
	virtual_input_set_ptz_enabled(PTZ_OFF);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_EQ(trigger(1), Trigger::DISABLED);
	EXPECT_EQ(trigger(2), Trigger::ENABLED);
	EXPECT_EQ(trigger(3), Trigger::ENABLED);
}

TEST_F(VirtualInputTest, PtzOffEnablesAChannel1ThatHasNoTriggerYet)
{
	begin_with(PTZ_ON);
	virtual_input_set_channel_enabled(2, true);
	virtual_input_set_ptz_enabled(PTZ_OFF);
	EXPECT_EQ(trigger(1), Trigger::ENABLED);
	EXPECT_THAT(enabled_channels(),
		    ElementsAre("manualtrigger2", "manualtrigger1"));
}

TEST_F(VirtualInputTest, WhatIsReportedWhilePtzIsOffCountsAfterwards)
{
	begin_with(PTZ_ON);
	virtual_input_set_channel_enabled(1, true);
	virtual_input_set_ptz_enabled(PTZ_OFF);
	virtual_input_set_channel_enabled(2, true);
	EXPECT_EQ(trigger(2), Trigger::DISABLED);
	virtual_input_set_ptz_enabled(PTZ_ON);
	EXPECT_EQ(trigger(2), Trigger::ENABLED);
}

// ---- the end ----

TEST_F(VirtualInputTest, TheEndDisablesTheTriggersOfEnabledChannels)
{
	begin_with(PTZ_UNKNOWN);
	have(3, Trigger::ENABLED);
	for (const int channel : {1, 2})
		virtual_input_set_channel_enabled(channel, true);
	virtual_input_finalize();
	EXPECT_EQ(trigger(1), Trigger::DISABLED);
	EXPECT_EQ(trigger(2), Trigger::DISABLED);
	EXPECT_EQ(trigger(3), Trigger::ENABLED);
}

TEST_F(VirtualInputTest, TheEndLeavesTheTriggersAloneWithPtzOff)
{
	virtual_input_set_channel_enabled(1, true);
	virtual_input_set_channel_enabled(2, true);
	recorder::reset();
	virtual_input_finalize();
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_EQ(trigger(1), Trigger::ENABLED);
	EXPECT_EQ(trigger(2), Trigger::DISABLED);
}

class EndTest : public PtzReportTest
{
};

TEST_P(EndTest, AMissingTriggerIsMadeAndNotEnabled)
{
	begin_with(GetParam());
	virtual_input_set_channel_enabled(1, true);
	virtual_input_set_channel_enabled(2, true);
	io_port_list_free();
	recorder::reset();
	virtual_input_finalize();
	EXPECT_EQ(trigger(1), Trigger::DISABLED);
	EXPECT_EQ(trigger(2), Trigger::DISABLED);
	EXPECT_EQ(recorder::count("io_event_declare"), 0U);
}

TEST_P(EndTest, NoChannelIsEnabledAfterwards)
{
	begin_with(GetParam());
	virtual_input_set_channel_enabled(2, true);
	virtual_input_finalize();
	EXPECT_THAT(enabled_channels(), IsEmpty());
}

TEST_P(EndTest, NothingHappensWithoutChannels)
{
	begin_with(GetParam());
	virtual_input_finalize();
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Values, EndTest, Values(PTZ_OFF, PTZ_ON, PTZ_UNKNOWN));

// ---- the start ----

TEST_F(VirtualInputTest, NothingStartsUntilTheConfigurationAsksForIt)
{
	const LogCapture log;
	g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", TRUE);
	ASSERT_FALSE(virtual_input_configured());
	virtual_input_init();
	EXPECT_THAT(names(), IsEmpty());
	EXPECT_THAT(log.warnings(), IsEmpty());
	// Without a bus PTZ is unknown, and no channel is.
	virtual_input_set_first_port_no(virtual_input_get_first_port_no());
	virtual_input_init();
	g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
	EXPECT_EQ(trigger(1), Trigger::ENABLED);
	const auto complaint =
		AllOf(StartsWith("Error creating proxy: "), EndsWith("\n"));
	EXPECT_THAT(log.warnings(), ElementsAre(complaint, complaint));
	virtual_input_finalize();
	EXPECT_EQ(trigger(1), Trigger::DISABLED);
}

} // namespace
