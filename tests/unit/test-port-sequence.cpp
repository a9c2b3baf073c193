#include "ioport/port-sequence.h"

#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "log-capture.h"
#include "port-fixture.h"
#include "sequence-fixture.h"

#include <chrono>
#include <pthread.h>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using PortSequenceTest = SequenceTest;
using PortSequenceDeathTest = SequenceTest;

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// ---- Which sequences are accepted ----

TEST_F(PortSequenceTest, AnOutputPlaysItsStepsAndAnnouncesTheEnd)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT, 3);
	add_event(port, "IOPort");
	EXPECT_TRUE(start(port, {{port.get(), false, true, 1},
				 {port.get(), false, false, 0}}));
	io_port_join_sequences();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_state(p, 1)",
				"io_event_send_event(p, IOPort, 1)",
				port_changed({.number = 3, .state = true}),
				"full.set_state(p, 0)",
				"io_event_send_event(p, IOPort, 0)",
				port_changed({.number = 3}),
				"iocontrol_emit_action_sequence_done(3)"));
}

TEST_F(PortSequenceTest, AVirtualSequenceOnAnInputLeavesTheLineAlone)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	EXPECT_TRUE(start(port, {{port.get(), true, true, 0},
				 {port.get(), true, false, 0}}));
	io_port_join_sequences();
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre(port_changed({.input = true,
					  .virtual_trig = true,
					  .state = true}),
			    port_changed({.input = true, .virtual_trig = true}),
			    "iocontrol_emit_action_sequence_done(1)"));
}

TEST_F(PortSequenceTest, AVirtualSequenceDrivesAVirtualOutput)
{
	const PortRef port = io_port_create_manual_trigger(1);
	recorder::reset();
	port->enabled = true;
	port->events.clear();
	EXPECT_TRUE(start(port, {{port.get(), true, true, 0}}));
	io_port_join_sequences();
	EXPECT_EQ(recorder::count("virtual.set_state(manualtrigger1, 1)"), 1U);
}

TEST_F(PortSequenceTest, EveryStepIsPlayedAsItSays)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(start(port, {{port.get(), true, true, 0},
				 {port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre(port_changed({.virtual_trig = true, .state = true}),
			    "full.set_state(p, 1)",
			    port_changed({.state = true}),
			    "iocontrol_emit_action_sequence_done(1)"));
}

TEST_F(PortSequenceTest, ARealSequenceIsRefusedOnInputs)
{
	const PortRef input = make_set_up_port(PORT_INPUT);
	expect_refused(input, {{input.get(), false, true, 0}});
	const PortRef configurable = make_set_up_port(PORT_IO_CTRL);
	expect_refused(configurable, {{configurable.get(), false, true, 0}});
}

TEST_F(PortSequenceTest, ARealSequenceIsRefusedOnAVirtualPort)
{
	const PortRef port = io_port_create_manual_trigger(1);
	expect_refused(port, {{port.get(), false, true, 0}});
}

TEST_F(PortSequenceTest, OnlyTheFirstStepDecides)
{
	const PortRef input = make_set_up_port(PORT_INPUT);
	EXPECT_TRUE(start(input, {{input.get(), true, true, 0},
				  {input.get(), false, true, 0}}));
	io_port_join_sequences();
	expect_refused(input, {{input.get(), false, true, 0},
			       {input.get(), true, true, 0}});
}

TEST_F(PortSequenceTest, AConfigurablePortThatIsAnOutputTakesOne)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	EXPECT_TRUE(start(port, {{port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_EQ(recorder::count("full.set_state(p, 1)"), 1U);
}

TEST_F(PortSequenceTest, AnySequenceIsRefusedOnAPortThatIsNotSetUp)
{
	const PortRef port = make_port(PORT_OUTPUT);
	expect_refused(port, {{port.get(), false, true, 0}});
	expect_refused(port, {{port.get(), true, true, 0}});
}

TEST_F(PortSequenceTest, AnEmptySequenceIsRefused)
{
	expect_refused(make_set_up_port(PORT_OUTPUT), {});
}

TEST_F(PortSequenceDeathTest, ASequenceOnNoPort)
{
	testing::FLAGS_gtest_death_test_style = "threadsafe";
	PortRef none;
	EXPECT_DEATH(
		io_port_run_action_sequence(none, {{nullptr, true, true, 0}}),
		"ERROR:ioport\\.c:[0-9]+:io_port_run_action_sequence: "
		"'ioport' should not be NULL");
}

TEST_F(PortSequenceTest, AThreadWithoutAPortIsWarnedAbout)
{
	const LogCapture log;
	io_port_run_sequence_internal({{nullptr, true, true, 0}});
	io_port_run_sequence_internal({});
	const std::string warning = "io_port_run_sequence_internal: assertion "
				    "'port != NULL' failed";
	EXPECT_THAT(log.texts(G_LOG_LEVEL_CRITICAL),
		    ElementsAre(warning, warning));
	EXPECT_THAT(recorder::calls(), IsEmpty());
}

// ---- What it leaves behind ----

TEST_F(PortSequenceTest, AnAcceptedSequenceTakesTheCallersReference)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	PortRef passed = port;
	EXPECT_TRUE(io_port_run_action_sequence(
		passed, {{port.get(), false, true, 0}}));
	EXPECT_FALSE(passed);
	io_port_join_sequences();
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(PortSequenceTest, ARefusedSequenceLeavesTheReferenceToTheCaller)
{
	const LogCapture log;
	PortRef port = make_set_up_port(PORT_INPUT);
	EXPECT_FALSE(io_port_run_action_sequence(
		port, {{port.get(), false, true, 0}}));
	ASSERT_TRUE(port);
	EXPECT_EQ(port->ref_count, 1);
}

TEST_F(PortSequenceTest, ThePortIsFreeAgainAfterwards)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(start(port, {{port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_FALSE(io_port_lock_taken(port.get()));
	EXPECT_FALSE(port->sequence_running);
	EXPECT_FALSE(port->abort_sequence);
	EXPECT_TRUE(start(port, {{port.get(), false, false, 0}}));
	io_port_join_sequences();
	EXPECT_EQ(done_count(), 2U);
}

TEST_F(PortSequenceTest, ThePortKeepsTheStateOfTheLastStep)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(start(port, {{port.get(), false, false, 0},
				 {port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_EQ(io_port_get_state(port.get()), 1);
}

TEST_F(PortSequenceTest, ASequenceRunsOnAThreadOfItsOwnWithItsName)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	std::string name;
	std::thread::id id;
	recorder::set_hook([&](const std::string &line) {
		if (!line.starts_with("full.set_state"))
			return;
		char text[16] = "";
		pthread_getname_np(pthread_self(), text, sizeof text);
		name = text;
		id = std::this_thread::get_id();
	});
	EXPECT_TRUE(start(port, {{port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_EQ(name, "Action thread");
	EXPECT_NE(id, std::this_thread::get_id());
}

TEST_F(PortSequenceTest, ThePortIsBusyUntilTheEndWasAnnounced)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	bool running = false;
	recorder::set_hook([&](const std::string &line) {
		if (!line.starts_with("iocontrol_emit_action_sequence_done"))
			return;
		const std::lock_guard guard(port->state_lock);
		running = port->sequence_running;
	});
	EXPECT_TRUE(start(port, {{port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_TRUE(running);
}

TEST_F(PortSequenceTest, AHundredThousandStepsAreAllPlayed)
{
	constexpr size_t kSteps = 100000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	port->enabled = false;
	std::vector<ActionStep> steps;
	for (size_t i = 0; i < kSteps; ++i)
		steps.push_back({port.get(), false, i % 2 == 0, 0});
	EXPECT_TRUE(start(port, std::move(steps)));
	io_port_join_sequences();
	EXPECT_EQ(recorder::count("full.set_state"), kSteps);
	EXPECT_EQ(done_count(), 1U);
}

// ---- Durations ----

TEST_F(PortSequenceTest, AStepIsHeldForItsDuration)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	std::vector<steady_clock::time_point> written;
	recorder::set_hook([&](const std::string &line) {
		if (line.starts_with("full.set_state"))
			written.push_back(steady_clock::now());
	});
	EXPECT_TRUE(start(port, {{port.get(), false, true, 50},
				 {port.get(), false, false, 0}}));
	io_port_join_sequences();
	ASSERT_THAT(written, SizeIs(2));
	EXPECT_GE(written[1] - written[0], milliseconds(50));
}

TEST_F(PortSequenceTest, TheLastStepIsHeldLikeTheOthers)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	const auto before = steady_clock::now();
	EXPECT_TRUE(start(port, {{port.get(), false, true, 50}}));
	io_port_join_sequences();
	EXPECT_GE(steady_clock::now() - before, milliseconds(50));
}

TEST_F(PortSequenceTest, AWakeUpBeforeItsTimeDoesNotEndAStep)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	const auto before = steady_clock::now();
	EXPECT_TRUE(start(port, {{port.get(), false, true, 50}}));
	ASSERT_TRUE(recorder::wait_for("iocontrol_emit_port_changed"));
	{
		const std::lock_guard lock(port->lock);
		port->sequence_cond.notify_all();
	}
	io_port_join_sequences();
	EXPECT_GE(steady_clock::now() - before, milliseconds(50));
}

TEST_F(PortSequenceTest, ANegativeDurationEndsTheStepAtOnce)
{
	expect_no_hold(-1);
	expect_no_hold(-1000000);
}

TEST_F(PortSequenceTest, ADurationThatWrapsToANegativeOneEndsTheStepAtOnce)
{
	expect_no_hold(2147484);
	expect_no_hold(4294967);
}

TEST_F(PortSequenceTest, ADurationThatWrapsToAShortOneIsHeldThatLong)
{
	constexpr gint32 kWrapsTo4Milliseconds = 536870912 + 4;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	const auto before = steady_clock::now();
	EXPECT_TRUE(start(port,
			  {{port.get(), false, true, kWrapsTo4Milliseconds}}));
	io_port_join_sequences();
	EXPECT_GE(steady_clock::now() - before, milliseconds(4));
}

TEST_F(PortSequenceTest, TheOutermostDurationsAreDefined)
{
	for (const gint32 duration : {G_MININT32, G_MININT32 + 1}) {
		const PortRef port = make_set_up_port(PORT_OUTPUT);
		EXPECT_TRUE(start(port, {{port.get(), false, true, duration}}));
		io_port_join_sequences();
		EXPECT_EQ(done_count(), 1U);
	}
	expect_no_hold(G_MAXINT32);
}

TEST_F(PortSequenceTest, TheLongestDurationThatDoesNotWrapIsHeld)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_TRUE(start(port, {{port.get(), false, true, 2147483},
				 {port.get(), false, false, 0}}));
	ASSERT_TRUE(recorder::wait_for("iocontrol_emit_port_changed"));
	EXPECT_TRUE(io_port_set_state(port.get(), 1)) << "the thread waits";
	stop(port);
	EXPECT_EQ(recorder::count("full.set_state(p, 0)"), 0U);
	EXPECT_EQ(done_count(), 1U);
}

// ---- Interrupting ----

TEST_F(PortSequenceTest, AnInterruptedSequenceLeavesTheStateOfItsStep)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	stop(port);
	EXPECT_EQ(io_port_get_state(port.get()), 1);
	EXPECT_EQ(recorder::count("full.set_state"), 1U);
	EXPECT_EQ(done_count(), 1U);
}

TEST_F(PortSequenceTest, ANewActiveLevelEndsTheSequenceFirst)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	recorder::reset();
	EXPECT_TRUE(io_port_set_activelow(port.get(), true, false));
	EXPECT_THAT(
		recorder::calls(),
		ElementsAre("iocontrol_emit_action_sequence_done(1)",
			    "full.set_state(p, 0)",
			    port_changed({.state = true, .activelow = true}),
			    "property_changed(Active, \"open\", 1, output)"));
}

TEST_F(PortSequenceTest, AnUnchangedActiveLevelEndsTheSequenceToo)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	recorder::reset();
	EXPECT_TRUE(io_port_set_activelow(port.get(), false, false));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("iocontrol_emit_action_sequence_done(1)"));
}

TEST_F(PortSequenceTest, ARefusedActiveLevelDoesNotEndTheSequence)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	EXPECT_FALSE(io_port_set_activelow(port.get(), true, true));
	EXPECT_TRUE(io_port_lock_taken(port.get()));
	EXPECT_EQ(done_count(), 0U);
	stop(port);
}

TEST_F(PortSequenceTest, ANewDirectionEndsTheSequenceFirst)
{
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	start_and_wait_for_hold(port);
	recorder::reset();
	EXPECT_TRUE(io_port_set_direction(port.get(), true));
	ASSERT_GE(recorder::calls().size(), 2U);
	EXPECT_EQ(recorder::calls()[0],
		  "iocontrol_emit_action_sequence_done(1)");
	EXPECT_EQ(recorder::calls()[1], "full.set_direction(p, 1)");
}

TEST_F(PortSequenceTest, ClosingEndsTheSequenceFirst)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	recorder::reset();
	io_port_close(port.get());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("iocontrol_emit_action_sequence_done(1)",
				"full.close(p)"));
	EXPECT_FALSE(io_port_lock_taken(port.get()));
}

TEST_F(PortSequenceTest, AnEndedSequenceDoesNotDisturbTheNextOne)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	stop(port);
	recorder::reset();
	EXPECT_TRUE(start(port, {{port.get(), false, false, 1},
				 {port.get(), false, true, 1}}));
	io_port_join_sequences();
	EXPECT_EQ(recorder::count("full.set_state"), 2U);
}

TEST_F(PortSequenceTest, AWriteInBetweenDoesNotEndTheSequence)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	recorder::reset();
	EXPECT_TRUE(io_port_set_state(port.get(), 0));
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_state(p, 0)", port_changed({})));
	EXPECT_TRUE(io_port_lock_taken(port.get()));
	stop(port);
}

// ---- Being busy ----

TEST_F(PortSequenceTest, AHeldLockMakesThePortBusy)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	EXPECT_FALSE(io_port_lock_taken(port.get()));
	{
		const std::lock_guard lock(port->lock);
		EXPECT_TRUE(busy_seen_from_elsewhere(port));
	}
	{
		const std::lock_guard lock(port->state_lock);
		EXPECT_TRUE(busy_seen_from_elsewhere(port));
	}
	port->sequence_running = true;
	EXPECT_TRUE(io_port_lock_taken(port.get()));
	port->sequence_running = false;
	EXPECT_FALSE(io_port_lock_taken(port.get()));
}

TEST_F(PortSequenceTest, TheBusyTestLeavesTheLocksFree)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	for (const bool running : {false, true}) {
		port->sequence_running = running;
		EXPECT_EQ(io_port_lock_taken(port.get()), running);
		EXPECT_TRUE(port->lock.try_lock());
		port->lock.unlock();
		EXPECT_TRUE(port->state_lock.try_lock());
		port->state_lock.unlock();
	}
	port->sequence_running = false;
}

TEST_F(PortSequenceTest, ASecondSequenceIsRefusedAndTheFirstUnaffected)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	start_and_wait_for_hold(port);
	recorder::reset();
	PortRef passed = port;
	EXPECT_FALSE(io_port_run_action_sequence(
		passed, {{port.get(), false, false, 0}}));
	EXPECT_TRUE(passed);
	EXPECT_THAT(recorder::calls(), IsEmpty());
	EXPECT_TRUE(io_port_lock_taken(port.get()));
	stop(port);
	EXPECT_EQ(done_count(), 1U);
}

TEST_F(PortSequenceTest, ExclusiveLockingGivesTheLockAndNotTheStateLock)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	io_port_lock_exclusive(port.get());
	EXPECT_TRUE(busy_seen_from_elsewhere(port));
	EXPECT_TRUE(port->state_lock.try_lock());
	port->state_lock.unlock();
	port->lock.unlock();
	EXPECT_FALSE(io_port_lock_taken(port.get()));
}

} // namespace
