#pragma once

/// What the tests of action sequences share. A test that waits for ever ends
/// the program, so that a deadlock shows as a failure.

#include "fakes/fake-threads.h"
#include "ioport/port-sequence.h"
#include "log-capture.h"
#include "port-fixture.h"

#include <thread>
#include <unistd.h>

class SequenceTest : public PortTest
{
protected:
	/// Longer than any test, in milliseconds.
	static constexpr gint32 kForever = 1000000;

	SequenceTest()
	{
		constexpr unsigned kLongestTestSeconds = 60;
		fake_threads::reset();
		alarm(kLongestTestSeconds);
	}
	~SequenceTest() override
	{
		fake_threads::reset();
		io_port_join_sequences();
		recorder::reset();
		alarm(0);
	}

	/// Starts a sequence with a reference of its own.
	static bool start(const PortRef &port, std::vector<ActionStep> steps)
	{
		PortRef passed = port;
		return io_port_run_action_sequence(passed, std::move(steps));
	}

	/// Starts a sequence that holds its first step, active, for ever, and
	/// waits until that step was announced.
	static void start_and_wait_for_hold(const PortRef &port)
	{
		ASSERT_TRUE(start(port, {{port.get(), false, true, kForever},
					 {port.get(), false, false, 0}}));
		ASSERT_TRUE(recorder::wait_for("iocontrol_emit_port_changed"));
	}

	/// Ends a running sequence.
	static void stop(const PortRef &port)
	{
		io_port_lock_exclusive(port.get());
		port->lock.unlock();
	}

	static size_t done_count()
	{
		return recorder::count("iocontrol_emit_action_sequence_done");
	}

	static void expect_refused(const PortRef &port,
				   std::vector<ActionStep> steps)
	{
		const LogCapture log;
		recorder::reset();
		EXPECT_FALSE(start(port, std::move(steps)));
		EXPECT_THAT(log.warnings(),
			    testing::ElementsAre(
				    "Set action seq on incorrect port"));
		EXPECT_FALSE(io_port_lock_taken(port.get()));
		EXPECT_THAT(recorder::calls(), testing::IsEmpty());
	}

	/// Two steps of that duration end long before the test does.
	static void expect_no_hold(gint32 duration)
	{
		const PortRef port = make_set_up_port(PORT_OUTPUT);
		EXPECT_TRUE(start(port, {{port.get(), false, true, duration},
					 {port.get(), false, false, duration}}))
			<< duration;
		io_port_join_sequences();
		EXPECT_EQ(recorder::count("full.set_state"), 2U) << duration;
		EXPECT_EQ(done_count(), 1U) << duration;
	}

	/// The busy test on another thread, for a lock that this one holds.
	static bool busy_seen_from_elsewhere(const PortRef &port)
	{
		bool busy = false;
		std::thread([&] {
			busy = io_port_lock_taken(port.get());
		}).join();
		return busy;
	}
};
