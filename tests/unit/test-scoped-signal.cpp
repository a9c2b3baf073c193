#include "util/scoped-signal.h"

#include <gtest/gtest.h>

namespace
{

class ScopedSignalTest : public testing::Test
{
protected:
	util::ScopedSignal connect(GCancellable *object)
	{
		return {object, "cancelled", G_CALLBACK(count), &calls_};
	}
	/// How often the handler is called for a signal of each object.
	int calls_of_both()
	{
		calls_ = 0;
		g_signal_emit_by_name(first_.get(), "cancelled");
		g_signal_emit_by_name(second_.get(), "cancelled");
		return calls_;
	}

	util::ObjectPtr<GCancellable> first_{g_cancellable_new()};
	util::ObjectPtr<GCancellable> second_{g_cancellable_new()};
	int calls_ = 0;

private:
	static void count(GCancellable *, int *calls)
	{
		++*calls;
	}
};

TEST_F(ScopedSignalTest, IsNoneToBeginWith)
{
	util::ScopedSignal signal;
	EXPECT_EQ(signal.id(), 0U);
	signal.reset();
	EXPECT_EQ(calls_of_both(), 0);
}

TEST_F(ScopedSignalTest, HandlesTheSignalWhileItLives)
{
	{
		const auto signal = connect(first_.get());
		EXPECT_NE(signal.id(), 0U);
		EXPECT_EQ(calls_of_both(), 1);
	}
	EXPECT_EQ(calls_of_both(), 0);
}

TEST_F(ScopedSignalTest, ResetDisconnectsOnce)
{
	auto signal = connect(first_.get());
	signal.reset();
	EXPECT_EQ(signal.id(), 0U);
	EXPECT_EQ(calls_of_both(), 0);
	signal.reset();
}

TEST_F(ScopedSignalTest, KeepsItsObjectAlive)
{
	GObject *object = G_OBJECT(first_.get());
	g_object_add_weak_pointer(object,
				  reinterpret_cast<gpointer *>(&object));
	auto signal = connect(first_.get());
	first_.reset();
	EXPECT_NE(object, nullptr);
	signal.reset();
	EXPECT_EQ(object, nullptr);
}

TEST_F(ScopedSignalTest, IsMovedWithItsHandler)
{
	auto signal = connect(first_.get());
	const gulong id = signal.id();
	auto moved = std::move(signal);
	EXPECT_EQ(moved.id(), id);
	EXPECT_EQ(calls_of_both(), 1);
	// The handler that it had goes.
	moved = connect(second_.get());
	EXPECT_EQ(calls_of_both(), 1);
	moved = util::ScopedSignal();
	EXPECT_EQ(calls_of_both(), 0);
}

TEST_F(ScopedSignalTest, SurvivesBeingMovedToItself)
{
	auto signal = connect(first_.get());
	auto &same = signal;
	signal = std::move(same);
	EXPECT_EQ(calls_of_both(), 1);
}

TEST_F(ScopedSignalTest, HasNoIdWhereThereIsNoSuchSignal)
{
	const auto level = g_log_set_always_fatal(G_LOG_LEVEL_ERROR);
	const auto handler = g_log_set_default_handler(
		[](const char *, GLogLevelFlags, const char *, gpointer) {},
		nullptr);
	const util::ScopedSignal signal(first_.get(), "no-such-signal",
					G_CALLBACK(nullptr), nullptr);
	g_log_set_default_handler(handler, nullptr);
	g_log_set_always_fatal(level);
	EXPECT_EQ(signal.id(), 0U);
}

} // namespace
