#include "backends/data-watch.h"

#include "log-capture.h"
#include "util/unique-fd.h"
#include "wait-until.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

namespace
{

/// A watch on a pipe, whose handler reads a byte at a time.
class DataWatchTest : public testing::Test
{
protected:
	DataWatchTest()
	{
		int ends[2] = {-1, -1};
		EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
		reader_.reset(ends[0]);
		writer_.reset(ends[1]);
	}
	void start()
	{
		watch_.start(reader_.get(), "a pipe",
			     [this] { return handle(); });
	}
	bool handle()
	{
		++calls_;
		char byte;
		return !fails_ && read(reader_.get(), &byte, 1) == 1;
	}
	void give(const std::string &bytes)
	{
		ASSERT_EQ(write(writer_.get(), bytes.data(), bytes.size()),
			  static_cast<ssize_t>(bytes.size()));
	}
	/// Handles what there is to handle now, if that comes to an end.
	static void handle_pending()
	{
		constexpr int kEndless = 100;
		int turns = 0;
		while (turns < kEndless &&
		       g_main_context_iteration(nullptr, FALSE))
			++turns;
		EXPECT_LT(turns, kEndless);
	}

	/// What the main loop waits for.
	struct Waiting {
		int descriptors = 0;
		int timeout = 0;
	};
	static Waiting waiting()
	{
		GMainContext *context = g_main_context_default();
		EXPECT_TRUE(g_main_context_acquire(context));
		int priority = 0;
		EXPECT_FALSE(g_main_context_prepare(context, &priority));
		Waiting result;
		result.descriptors = g_main_context_query(
			context, priority, &result.timeout, nullptr, 0);
		g_main_context_release(context);
		return result;
	}
	bool is_watched() const
	{
		return waiting().descriptors > idle_.descriptors;
	}
	static bool is_tried_again()
	{
		return waiting().timeout >= 0;
	}

	const Waiting idle_ = waiting();
	util::UniqueFd reader_;
	util::UniqueFd writer_;
	int calls_ = 0;
	bool fails_ = false;
	DataWatch watch_;
};

TEST_F(DataWatchTest, IsOffUntilItIsStarted)
{
	EXPECT_FALSE(watch_.is_on());
	start();
	EXPECT_TRUE(watch_.is_on());
	EXPECT_TRUE(is_watched());
	watch_.stop();
	EXPECT_FALSE(watch_.is_on());
	EXPECT_FALSE(is_watched());
}

TEST_F(DataWatchTest, TheHandlerIsCalledAsLongAsThereIsData)
{
	start();
	handle_pending();
	EXPECT_EQ(calls_, 0);
	give("abc");
	handle_pending();
	EXPECT_EQ(calls_, 3);
	give("d");
	handle_pending();
	EXPECT_EQ(calls_, 4);
}

TEST_F(DataWatchTest, AFailureIsTriedAgainALittleLaterAndNotAtOnce)
{
	start();
	fails_ = true;
	give("a");
	handle_pending();
	EXPECT_EQ(calls_, 1);
	EXPECT_FALSE(is_watched());
	EXPECT_TRUE(is_tried_again());
	ASSERT_TRUE(wait_until([this] { return calls_ == 2; }));
	EXPECT_FALSE(is_watched());
	EXPECT_TRUE(is_tried_again());
}

TEST_F(DataWatchTest, AfterAFailureDataIsHandledAsBefore)
{
	start();
	fails_ = true;
	give("a");
	handle_pending();
	fails_ = false;
	give("bc");
	handle_pending();
	EXPECT_EQ(calls_, 1); // not yet
	ASSERT_TRUE(wait_until([this] { return calls_ == 4; }));
	give("d");
	handle_pending();
	EXPECT_EQ(calls_, 5);
}

TEST_F(DataWatchTest, ADeadDescriptorIsHandledOnceAndGivenUp)
{
	start();
	writer_.reset();
	handle_pending();
	EXPECT_EQ(calls_, 1);
	EXPECT_TRUE(watch_.is_on());
	EXPECT_FALSE(is_watched());
	EXPECT_FALSE(is_tried_again());
}

TEST_F(DataWatchTest, DataIsHandledBeforeADescriptorIsGivenUp)
{
	start();
	give("ab");
	writer_.reset();
	handle_pending();
	EXPECT_EQ(calls_, 3);
}

TEST_F(DataWatchTest, AStoppedWatchHandlesNothing)
{
	start();
	watch_.stop();
	give("a");
	handle_pending();
	EXPECT_EQ(calls_, 0);
}

TEST_F(DataWatchTest, AStoppedWatchDoesNotTryAgain)
{
	start();
	fails_ = true;
	give("a");
	handle_pending();
	watch_.stop();
	EXPECT_FALSE(is_watched());
	EXPECT_FALSE(is_tried_again());
	EXPECT_EQ(calls_, 1);
}

TEST_F(DataWatchTest, AStartedWatchStaysAsItIs)
{
	start();
	bool other = false;
	watch_.start(reader_.get(), "a pipe", [&other] {
		other = true;
		return true;
	});
	give("a");
	handle_pending();
	EXPECT_EQ(calls_, 1);
	EXPECT_FALSE(other);
}

TEST_F(DataWatchTest, AGivenUpWatchCanBeStartedAgain)
{
	start();
	writer_.reset();
	handle_pending();
	int ends[2] = {-1, -1};
	ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
	reader_.reset(ends[0]);
	writer_.reset(ends[1]);
	watch_.stop();
	start();
	give("a");
	handle_pending();
	EXPECT_EQ(calls_, 2);
}

TEST_F(DataWatchTest, NothingIsLeftOfAWatchThatIsGone)
{
	{
		DataWatch gone;
		gone.start(reader_.get(), "a pipe", [this] { return handle(); });
	}
	give("a");
	handle_pending();
	EXPECT_EQ(calls_, 0);
}

TEST_F(DataWatchTest, AHandlerMayStopItsWatch)
{
	for (const bool result : {true, false}) {
		int calls = 0;
		watch_.start(reader_.get(), "a pipe", [&, result] {
			++calls;
			watch_.stop();
			return result;
		});
		give("a");
		handle_pending();
		EXPECT_FALSE(watch_.is_on());
		EXPECT_FALSE(is_watched());
		EXPECT_FALSE(is_tried_again());
		EXPECT_EQ(calls, 1);
	}
}

} // namespace
