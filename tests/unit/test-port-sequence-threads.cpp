// Action threads against the main thread: what may happen at any moment.

#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "sequence-fixture.h"

#include <chrono>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using PortSequenceThreadsTest = SequenceTest;

/// Waits, giving way to others, until the condition holds; the test's alarm
/// ends a wait for ever.
template <typename Condition> void spin_until(Condition condition)
{
	while (!condition())
		std::this_thread::yield();
}

bool abort_asked_for(const PortRef &port)
{
	const std::lock_guard guard(port->state_lock);
	return port->abort_sequence;
}

bool is_running(const PortRef &port)
{
	const std::lock_guard guard(port->state_lock);
	return port->sequence_running;
}

// ---- Changes right after the start ----

TEST_F(PortSequenceThreadsTest, TenThousandStartsEachWithAChangeAtOnce)
{
	constexpr int kRounds = 10000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	for (int i = 0; i < kRounds; ++i) {
		recorder::reset();
		ASSERT_TRUE(start(port, {{port.get(), false, true, kForever},
					 {port.get(), false, false, 0}}));
		ASSERT_TRUE(
			io_port_set_activelow(port.get(), i % 2 == 0, false));
		ASSERT_EQ(done_count(), 1U) << i;
		ASSERT_FALSE(is_running(port)) << i;
	}
}

TEST_F(PortSequenceThreadsTest, AChangeAtAnyMomentOfTheFirstStepEndsIt)
{
	constexpr int kRounds = 3000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	for (int i = 0; i < kRounds; ++i) {
		recorder::reset();
		ASSERT_TRUE(start(port, {{port.get(), true, true, kForever}}));
		spin_until([] {
			return recorder::count("iocontrol_emit_port") > 0;
		});
		for (int wait = i % 20; wait > 0; --wait)
			std::this_thread::yield();
		ASSERT_TRUE(io_port_set_activelow(port.get(), true, false));
		ASSERT_EQ(done_count(), 1U) << i;
	}
}

TEST_F(PortSequenceThreadsTest, SequencesThatEndByThemselvesMeetChanges)
{
	constexpr int kRounds = 3000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	for (int i = 0; i < kRounds; ++i) {
		recorder::reset();
		ASSERT_TRUE(start(port, {{port.get(), false, true, 0}}));
		ASSERT_TRUE(
			io_port_set_activelow(port.get(), i % 2 == 0, false));
		ASSERT_EQ(done_count(), 1U) << i;
	}
}

TEST_F(PortSequenceThreadsTest, AnAbortBeforeTheThreadHasBegunIsNotLost)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	fake_threads::hold();
	ASSERT_TRUE(start(port, {{port.get(), false, true, kForever},
				 {port.get(), false, false, 0}}));
	std::thread changer(
		[&port] { io_port_set_activelow(port.get(), true, false); });
	spin_until([&port] { return abort_asked_for(port); });
	EXPECT_THAT(recorder::calls(), IsEmpty());
	fake_threads::reset();
	changer.join();
	EXPECT_EQ(done_count(), 1U);
	EXPECT_TRUE(port->output_activelow);
}

TEST_F(PortSequenceThreadsTest, AnAbortDuringAStepIsSeenBeforeItIsHeld)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	recorder::set_hook([&port](const std::string &line) {
		if (line.starts_with("full.set_state(p, 1)"))
			spin_until([&port] { return abort_asked_for(port); });
	});
	ASSERT_TRUE(start(port, {{port.get(), false, true, kForever},
				 {port.get(), false, false, 0}}));
	stop(port);
	EXPECT_EQ(done_count(), 1U);
	EXPECT_EQ(recorder::count("full.set_state(p, 0)"), 0U);
}

/// The test plays the action thread, which looks and then waits.
TEST_F(PortSequenceThreadsTest, AnAbortBetweenTheLookAndTheWaitIsNotMissed)
{
	constexpr int kRounds = 1000;
	constexpr std::chrono::seconds kDeadline(20);
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	std::unique_lock lock(port->lock);
	port->sequence_running = true;
	std::thread changer([&port] { stop(port); });
	spin_until([&port] { return abort_asked_for(port); });
	for (int i = 0; i < kRounds; ++i)
		std::this_thread::yield();
	EXPECT_EQ(port->sequence_cond.wait_for(lock, kDeadline),
		  std::cv_status::no_timeout);
	{
		const std::lock_guard guard(port->state_lock);
		port->sequence_running = false;
		port->abort_sequence = false;
		port->done_cond.notify_all();
	}
	lock.unlock();
	changer.join();
}

TEST_F(PortSequenceThreadsTest, AnAbortEndsAStepWithoutADuration)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	recorder::set_hook([&port](const std::string &line) {
		if (line.starts_with("full.set_state(p, 1)"))
			spin_until([&port] { return abort_asked_for(port); });
	});
	ASSERT_TRUE(start(port, {{port.get(), false, true, -1},
				 {port.get(), false, false, -1}}));
	stop(port);
	EXPECT_EQ(recorder::count("full.set_state(p, 0)"), 0U);
}

TEST_F(PortSequenceThreadsTest, ExclusiveLockingWaitsWithoutTheStateLock)
{
	constexpr int kRounds = 10000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	std::atomic<bool> begun = false;
	port->lock.lock();
	std::thread other([&] {
		begun = true;
		stop(port);
	});
	spin_until([&begun] { return begun.load(); });
	for (int i = 0; i < kRounds; ++i) {
		const std::lock_guard guard(port->state_lock);
		std::this_thread::yield();
	}
	port->lock.unlock();
	other.join();
}

TEST_F(PortSequenceThreadsTest, ASequenceThatNobodyClaimedMeetsChanges)
{
	constexpr int kRounds = 1000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	for (int i = 0; i < kRounds; ++i) {
		io_port_ref(port.get());
		std::thread thread([&port] {
			io_port_run_sequence_internal(
				{{port.get(), false, true, -1}});
		});
		io_port_set_activelow(port.get(), i % 2 == 0, false);
		thread.join();
	}
	EXPECT_EQ(done_count(), static_cast<size_t>(kRounds));
	EXPECT_EQ(port->ref_count, 1);
}

// ---- Being busy ----

TEST_F(PortSequenceThreadsTest, APortIsBusyBeforeItsThreadHasBegun)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	fake_threads::hold();
	ASSERT_TRUE(start(port, {{port.get(), false, true, 0}}));
	EXPECT_TRUE(io_port_lock_taken(port.get()));
	PortRef second = port;
	EXPECT_FALSE(io_port_run_action_sequence(
		second, {{port.get(), false, false, 0}}));
	EXPECT_TRUE(second);
	fake_threads::reset();
	io_port_join_sequences();
	EXPECT_EQ(done_count(), 1U);
	EXPECT_EQ(recorder::count("full.set_state(p, 0)"), 0U);
	EXPECT_FALSE(io_port_lock_taken(port.get()));
}

TEST_F(PortSequenceThreadsTest, AThreadThatCannotBeStartedIsARefusal)
{
	const LogCapture log;
	PortRef port = make_set_up_port(PORT_OUTPUT);
	fake_threads::refuse();
	EXPECT_FALSE(io_port_run_action_sequence(
		port, {{port.get(), false, true, 0}}));
	ASSERT_TRUE(port);
	EXPECT_EQ(port->ref_count, 1);
	EXPECT_FALSE(io_port_lock_taken(port.get()));
	EXPECT_THAT(log.warnings(), testing::SizeIs(1));
	EXPECT_THAT(recorder::calls(), IsEmpty());
	io_port_join_sequences();

	fake_threads::reset();
	EXPECT_TRUE(start(port, {{port.get(), false, true, 0}}));
	io_port_join_sequences();
	EXPECT_EQ(done_count(), 1U);
}

TEST_F(PortSequenceThreadsTest, ASequenceWithoutAnOwnerCanBeEnded)
{
	constexpr int kLongMs = 1000 * 1000;
	{
		const PortRef port = make_set_up_port(PORT_OUTPUT);
		ASSERT_TRUE(start(port, {{port.get(), false, true, kLongMs},
					 {port.get(), false, false, 0}}));
	}
	spin_until([] { return recorder::count("full.set_state(p, 1)") == 1; });
	io_port_abort_sequences();
	io_port_join_sequences();
	EXPECT_EQ(done_count(), 1U);
	EXPECT_EQ(recorder::count("full.set_state(p, 0)"), 0U);
}

TEST_F(PortSequenceThreadsTest, AWriteWaitsForTheLock)
{
	constexpr int kRounds = 1000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	std::atomic<bool> begun = false;
	port->lock.lock();
	std::thread writer([&] {
		begun = true;
		io_port_set_state(port.get(), 1);
	});
	spin_until([&begun] { return begun.load(); });
	for (int i = 0; i < kRounds; ++i)
		std::this_thread::yield();
	recorder::note("unlocked");
	port->lock.unlock();
	writer.join();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("unlocked", "full.set_state(p, 1)",
				port_changed({.state = true})));
}

TEST_F(PortSequenceThreadsTest, ASequenceBeginsWhenADirectWriteIsDone)
{
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	{
		const std::lock_guard lock(port->lock);
		ASSERT_TRUE(start(port, {{port.get(), false, true, 0}}));
		recorder::note("written");
	}
	io_port_join_sequences();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("written", "full.set_state(p, 1)",
				port_changed({.state = true}),
				"iocontrol_emit_action_sequence_done(1)"));
}

TEST_F(PortSequenceThreadsTest, SequencesOnManyPortsRunSideBySide)
{
	constexpr int kPorts = 50;
	std::vector<PortRef> ports;
	for (int number = 0; number < kPorts; ++number) {
		ports.push_back(make_set_up_port(PORT_OUTPUT, number));
		recorder::reset();
	}
	for (const PortRef &port : ports)
		ASSERT_TRUE(start(port, {{port.get(), false, true, kForever}}));
	ASSERT_TRUE(recorder::wait_for("full.set_state", kPorts));
	for (const PortRef &port : ports)
		stop(port);
	EXPECT_EQ(done_count(), static_cast<size_t>(kPorts));
}

// ---- Freeing and closing ----

TEST_F(PortSequenceThreadsTest, FreeingEndsTheSequenceBeforeAnythingElse)
{
	PortRef port = make_set_up_port(PORT_OUTPUT);
	add_event(port, "IOPort");
	start_and_wait_for_hold(port);
	recorder::reset();
	io_port_free(port.release());
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("iocontrol_emit_action_sequence_done(1)",
				"io_event_free(IOPort)", "full.free(#1)"));
}

TEST_F(PortSequenceThreadsTest, FreeingAtAnyMomentLeavesNoThreadInTheRecord)
{
	constexpr int kRounds = 2000;
	for (int i = 0; i < kRounds; ++i) {
		PortRef port = make_set_up_port(PORT_OUTPUT);
		const gint32 duration = i % 2 == 0 ? kForever : 0;
		ASSERT_TRUE(start(port, {{port.get(), false, true, duration}}));
		io_port_free(port.release());
		ASSERT_EQ(recorder::count("full.free"), 1U) << i;
		ASSERT_EQ(done_count(), 1U) << i;
	}
}

TEST_F(PortSequenceThreadsTest, TheRecordOutlivesItsContentsForOtherUsers)
{
	PortRef port = make_set_up_port(PORT_OUTPUT);
	const PortRef other = port;
	start_and_wait_for_hold(port);
	io_port_free(port.release());
	EXPECT_EQ(recorder::count("full.free"), 1U);
	EXPECT_FALSE(other->is_setup);
	EXPECT_FALSE(io_port_lock_taken(other.get()));
	io_port_join_sequences();
	EXPECT_EQ(other->ref_count, 1);
}

TEST_F(PortSequenceThreadsTest, FreeingAPortWhoseThreadHasNotBegun)
{
	PortRef port = make_set_up_port(PORT_OUTPUT);
	const PortRef other = port;
	fake_threads::hold();
	ASSERT_TRUE(start(port, {{port.get(), false, true, kForever}}));
	std::thread freer([&port] { io_port_free(port.release()); });
	spin_until([&other] { return abort_asked_for(other); });
	fake_threads::reset();
	freer.join();
	EXPECT_EQ(done_count(), 1U);
	EXPECT_EQ(recorder::count("full.free"), 1U);
	EXPECT_EQ(recorder::calls().back(), "full.free(#1)");
}

TEST_F(PortSequenceThreadsTest, ASequenceKeepsItsPortAliveToItsEnd)
{
	PortRef port = make_set_up_port(PORT_OUTPUT);
	port->enabled = false;
	IOPort *raw = port.get();
	ASSERT_TRUE(io_port_run_action_sequence(
		port, {{raw, false, true, 20}, {raw, false, false, 0}}));
	io_port_join_sequences();
	EXPECT_THAT(recorder::calls(),
		    ElementsAre("full.set_state(p, 1)", "full.set_state(p, 0)",
				"iocontrol_emit_action_sequence_done(1)",
				"full.free(#1)"));
}

TEST_F(PortSequenceThreadsTest, TheListIsFreedWhileItsPortsPlay)
{
	constexpr int kPorts = 20;
	for (int number = 0; number < kPorts; ++number) {
		const PortRef port = make_port(PORT_OUTPUT, number);
		ASSERT_TRUE(io_port_setup(port.get()));
		io_port_list_add(port);
		ASSERT_TRUE(start(port, {{port.get(), false, true, kForever}}));
	}
	io_port_list_free();
	EXPECT_EQ(done_count(), static_cast<size_t>(kPorts));
	EXPECT_EQ(recorder::count("full.free"), static_cast<size_t>(kPorts));
	EXPECT_EQ(io_port_list_length(), 0U);
}

TEST_F(PortSequenceThreadsTest, ClosingAtAnyMomentComesAfterTheLastWrite)
{
	constexpr int kRounds = 2000;
	const PortRef port = make_set_up_port(PORT_OUTPUT);
	for (int i = 0; i < kRounds; ++i) {
		recorder::reset();
		ASSERT_TRUE(start(port, {{port.get(), false, true, kForever}}));
		io_port_close(port.get());
		ASSERT_EQ(recorder::calls().back(), "full.close(p)") << i;
		ASSERT_EQ(done_count(), 1U) << i;
		ASSERT_FALSE(io_port_lock_taken(port.get())) << i;
	}
}

TEST_F(PortSequenceThreadsTest, JoiningWaitsForTheLastStepOfEverySequence)
{
	constexpr int kPorts = 10;
	std::vector<PortRef> ports;
	for (int number = 0; number < kPorts; ++number)
		ports.push_back(make_set_up_port(PORT_OUTPUT, number));
	for (const PortRef &port : ports)
		ASSERT_TRUE(start(port, {{port.get(), false, true, 5}}));
	io_port_join_sequences();
	EXPECT_EQ(done_count(), static_cast<size_t>(kPorts));
	for (const PortRef &port : ports)
		EXPECT_EQ(port->ref_count, 1);
}

// ---- Settings meanwhile ----

TEST_F(PortSequenceThreadsTest, APortIsUsedInEveryWayWhileItPlays)
{
	constexpr int kSteps = 3000;
	const PortRef port = make_set_up_port(PORT_IO_CTRL);
	port->direction = false;
	add_event(port, "IOPort");
	std::vector<ActionStep> steps;
	for (int i = 0; i < kSteps; ++i)
		steps.push_back({port.get(), i % 3 == 1, i % 2 == 0, 0});
	ASSERT_TRUE(start(port, std::move(steps)));
	while (io_port_lock_taken(port.get())) {
		io_port_get_state(port.get());
		io_port_set_enabled(port.get(), !port->enabled);
		io_port_set_usage(port.get(), port->enabled ? "on" : "off");
		io_port_set_output_name(port.get(),
					port->enabled ? "on" : "off");
		io_port_reset_event_filters(port.get());
		io_port_trigger(port.get(), 1);
	}
	io_port_join_sequences();
	EXPECT_EQ(done_count(), 1U);
}

} // namespace
