// Supervised ports that another thread reads while the main thread changes
// them.

#include "ioport/port-settings.h"
#include "ioport/port-supervision.h"
#include "sequence-fixture.h"

namespace
{

using testing::Each;
using testing::SizeIs;

class PortSupervisionThreadsTest : public SequenceTest
{
protected:
	/// Reads the port's ranges again and again until the test is done with
	/// it: each is whole.
	std::jthread read_meanwhile(const PortRef &port)
	{
		return std::jthread([this, port](const std::stop_token &stop) {
			while (!stop.stop_requested()) {
				const std::lock_guard guard(port->ranges_lock);
				for (const SupervisedRange &range :
				     port->supervised_ranges)
					ASSERT_EQ(range.lower_limit + 1,
						  range.upper_limit);
				++readings_;
			}
		});
	}
	/// Lets the reader have its turn, however the threads are scheduled.
	void await_reading() const
	{
		const unsigned seen = readings_;
		while (readings_ == seen)
			std::this_thread::yield();
	}

private:
	std::atomic<unsigned> readings_ = 0;
};

TEST_F(PortSupervisionThreadsTest, RangesAreAdded)
{
	constexpr guint32 kRounds = 3000;
	const PortRef port = make_set_up_port(PORT_INPUT);
	const std::jthread reader = read_meanwhile(port);
	for (guint32 round = 0; round < kRounds; ++round) {
		const auto state = static_cast<SupervisedState>(round % 4);
		ASSERT_TRUE(io_port_add_supervised_range(
			port.get(), supervised_range_state2string(state), round,
			round + 1, nullptr));
		if (round % 100 == 0)
			await_reading();
	}
	EXPECT_THAT(port->supervised_ranges, SizeIs(4));
}

TEST_F(PortSupervisionThreadsTest, ThePortIsSetUpAgain)
{
	constexpr int kRounds = 1000;
	const PortRef port = PortRef::adopt(io_port_new());
	io_port_set_backend(port.get(), BACKEND_CHECK);
	io_port_parse_backend_data(port.get(), "range", "upper", "2");
	const std::jthread reader = read_meanwhile(port);
	for (int round = 0; round < kRounds; ++round) {
		recorder::reset();
		io_port_close(port.get());
		ASSERT_TRUE(io_port_setup(port.get()));
		ASSERT_EQ(recorder::count("check.parse_data"), 1U);
		if (round % 10 == 0)
			await_reading();
	}
	EXPECT_THAT(port->supervised_ranges, SizeIs(1));
}

TEST_F(PortSupervisionThreadsTest, ThePortIsFreed)
{
	constexpr int kRounds = 100;
	for (int round = 0; round < kRounds; ++round) {
		PortRef port = make_set_up_port(PORT_INPUT);
		port->supervised_ranges = {{SUPERVISED_OPEN, 2, 1}};
		const std::jthread reader = read_meanwhile(port);
		await_reading();
		io_port_free(port.release());
	}
}

// ---- Declaring the events again ----

TEST_F(PortSupervisionThreadsTest, NoStepIsPlayedWhileEventsAreDeclaredAgain)
{
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "second");
	add_event(port, "first");
	std::vector<bool> held;
	recorder::set_hook([&](const std::string &) {
		held.push_back(busy_seen_from_elsewhere(port));
	});
	io_port_redeclare_events(port.get());
	recorder::set_hook(nullptr);
	EXPECT_THAT(held, SizeIs(2));
	EXPECT_THAT(held, Each(true));
	EXPECT_FALSE(busy_seen_from_elsewhere(port));
}

TEST_F(PortSupervisionThreadsTest, ASequenceGoesOnWhileEventsAreDeclaredAgain)
{
	constexpr int kSteps = 3000;
	const PortRef port = make_set_up_port(PORT_INPUT);
	add_event(port, "IOPort");
	std::vector<ActionStep> steps;
	for (int i = 0; i < kSteps; ++i)
		steps.push_back({port.get(), true, i % 2 == 0, 0});
	ASSERT_TRUE(start(port, std::move(steps)));
	do {
		io_port_set_supervised(port.get(), !port->supervised);
		io_port_redeclare_events(port.get());
	} while (io_port_lock_taken(port.get()));
	io_port_join_sequences();
	EXPECT_EQ(recorder::count("io_event_send_event"), size_t{kSteps});
	EXPECT_EQ(done_count(), 1U);
}

} // namespace
