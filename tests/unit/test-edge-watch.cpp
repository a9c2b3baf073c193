#include "gpio-fixture.h"

#include "wait-until.h"

#include <cerrno>

namespace
{

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// What the daemon announces of the fixture's port, an input that is not
/// inverted.
std::string announced(bool state)
{
	return std::string("iocontrol_emit_port_changed(4, virtual=0, "
			   "hidden=0, input=1, virtual_trig=0, state=") +
	       (state ? "1" : "0") + ", activelow=0)";
}

constexpr const char *kGone = "Cannot read the line of port 4: No such device";
constexpr const char *kUnreadable =
	"Cannot read the line of port 4: Input/output error";

class EdgeWatchTest : public GpioTest
{
protected:
	void watch()
	{
		configure_and_set_up(PORT_INPUT);
		io_port_set_watch(port_.get());
	}
	/// How many sources have come since the test began.
	int sources_of_the_watch()
	{
		int count = 0;
		const guint end = next_source_id();
		for (guint id = first_id_; id < end; ++id)
			count += g_main_context_find_source_by_id(
					 nullptr, id) != nullptr;
		return count;
	}
	/// Lets the main loop do what there is to do now.
	static void turn()
	{
		while (g_main_context_iteration(nullptr, FALSE)) {
		}
	}
	/// GLib numbers sources in the order in which they come.
	static guint next_source_id()
	{
		const guint id =
			g_idle_add([](gpointer) { return FALSE; }, nullptr);
		g_source_remove(id);
		return id;
	}
	/// Well, for longer than anybody looks at once.
	static void toggle_for_ever()
	{
		std::vector<int> values;
		for (int i = 0; i < 2 * 100; ++i)
			values.push_back(i % 2);
		fake_ugpio::set_values("1", values);
	}
	/// The announcements; forgets them.
	std::vector<std::string> announcements()
	{
		std::vector<std::string> found;
		for (const std::string &call : calls()) {
			if (call.starts_with("iocontrol_emit_port_changed"))
				found.push_back(call);
		}
		return found;
	}

	const guint first_id_ = next_source_id();
};

TEST_F(EdgeWatchTest, AnEdgeReportsTheState)
{
	watch();
	fake_ugpio::set_values("1", {1});
	fake_ugpio::edge("1");
	turn();
	EXPECT_THAT(announcements(), ElementsAre(announced(true)));
	turn();
	EXPECT_THAT(announcements(), IsEmpty());
}

TEST_F(EdgeWatchTest, WithoutAnEdgeNothingHappens)
{
	watch();
	turn();
	EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(EdgeWatchTest, ASecondChangeWhileTheFirstIsReportedIsReportedToo)
{
	watch();
	// Reported as 1, then 0: reported as 0, still 0.
	fake_ugpio::set_values("1", {1, 0, 0, 0});
	fake_ugpio::edge("1");
	turn();
	EXPECT_THAT(announcements(),
		    ElementsAre(announced(true), announced(false)));
}

TEST_F(EdgeWatchTest, ALineThatTogglesAsItIsReadGivesWayAndGoesOn)
{
	watch();
	toggle_for_ever();
	bool other_turn = false;
	g_idle_add_full(
		G_PRIORITY_DEFAULT,
		[](gpointer done) -> gboolean {
			*static_cast<bool *>(done) = true;
			return G_SOURCE_REMOVE;
		},
		&other_turn, nullptr);
	fake_ugpio::edge("1");
	g_main_context_iteration(nullptr, FALSE);
	EXPECT_TRUE(other_turn);
	EXPECT_THAT(announcements(), SizeIs(64));
	turn();
	const auto rest = announcements();
	ASSERT_THAT(rest, testing::Not(IsEmpty()));
	EXPECT_EQ(rest.back(), announced(true));
}

TEST_F(EdgeWatchTest, ArmedTwiceThereIsOneWatch)
{
	watch();
	const guint first = data()->watch.id();
	io_port_set_watch(port_.get());
	EXPECT_EQ(data()->watch.id(), first);
	fake_ugpio::edge("1");
	turn();
	EXPECT_THAT(announcements(), SizeIs(1));
}

TEST_F(EdgeWatchTest, WhoeverReadsTheStateLeavesTheEdgeToTheWatch)
{
	watch();
	fake_ugpio::set_values("1", {1});
	fake_ugpio::edge("1");
	EXPECT_EQ(io_port_get_state(port_.get()), 1);
	turn();
	EXPECT_THAT(announcements(), ElementsAre(announced(true)));
}

TEST_F(EdgeWatchTest, ArmedAgainAnUnsettledLineIsGoneOnWith)
{
	watch();
	toggle_for_ever();
	fake_ugpio::edge("1");
	g_main_context_iteration(nullptr, FALSE);
	io_port_set_watch(port_.get());
	announcements();
	fake_ugpio::set_values("1", {1});
	turn();
	EXPECT_THAT(announcements(), ElementsAre(announced(true)));
}

TEST_F(EdgeWatchTest, AnOutputsLineIsWatchedWhenItIsAskedFor)
{
	configure_and_set_up(PORT_OUTPUT);
	functions_->set_watch(port_.get());
	fake_ugpio::set_values("2", {1});
	fake_ugpio::edge("2");
	turn();
	EXPECT_THAT(announcements(),
		    ElementsAre(HasSubstr("input=0, virtual_trig=0, state=1")));
}

TEST_F(EdgeWatchTest, WithoutALineThereIsNoWatch)
{
	configure(PORT_INPUT);
	functions_->set_watch(port_.get());
	EXPECT_EQ(data()->watch.id(), 0U);
	functions_->free(port_.get());
	functions_->set_watch(port_.get());
	EXPECT_EQ(port_->backend_data, nullptr);
}

TEST_F(EdgeWatchTest, ALineThatIsGoneIsWarnedOfOnceAndWatchedNoMore)
{
	watch();
	fake_ugpio::break_line("1", ENODEV);
	turn();
	io_port_set_watch(port_.get());
	turn();
	EXPECT_THAT(log_.warnings(), ElementsAre(kGone));
	EXPECT_EQ(data()->watch.id(), 0U);
	EXPECT_THAT(announcements(), IsEmpty());
	EXPECT_FALSE(g_main_context_pending(nullptr));
}

TEST_F(EdgeWatchTest, ADescriptorThatHangsUpIsWarnedOfOnceAndWatchedNoMore)
{
	watch();
	fake_ugpio::hang_up("1");
	turn();
	EXPECT_THAT(log_.warnings(), ElementsAre("Cannot read the line of port "
						 "4: its descriptor is dead"));
	EXPECT_EQ(data()->watch.id(), 0U);
	EXPECT_FALSE(g_main_context_pending(nullptr));
}

TEST_F(EdgeWatchTest, ALineThatCannotBeReadForAWhileIsWatchedAgainAfterwards)
{
	watch();
	fake_ugpio::break_line("1", EIO);
	turn();
	io_port_set_watch(port_.get());
	turn();
	EXPECT_THAT(log_.warnings(), ElementsAre(kUnreadable));
	EXPECT_EQ(data()->watch.id(), 0U);
	EXPECT_THAT(announcements(), IsEmpty());

	fake_ugpio::set_values("1", {1});
	fake_ugpio::mend("1");
	ASSERT_TRUE(wait_until([this] { return data()->watch.id() != 0; }));
	EXPECT_THAT(announcements(), ElementsAre(announced(true)));
	EXPECT_THAT(log_.warnings(), SizeIs(1));
	fake_ugpio::set_values("1", {0});
	fake_ugpio::edge("1");
	turn();
	EXPECT_THAT(announcements(), ElementsAre(announced(false)));
}

TEST_F(EdgeWatchTest, ALineThatGoesWhileItCannotBeReadIsTriedNoMore)
{
	watch();
	fake_ugpio::break_line("1", EIO);
	turn();
	fake_ugpio::break_line("1", ENODEV);
	ASSERT_TRUE(wait_until([this] { return log_.warnings().size() > 1; }));
	EXPECT_THAT(log_.warnings(), ElementsAre(kUnreadable, kGone));
	turn();
	EXPECT_EQ(sources_of_the_watch(), 0);
}

TEST_F(EdgeWatchTest, AClosedPortTriesItsLineNoMore)
{
	watch();
	fake_ugpio::break_line("1", EIO);
	turn();
	EXPECT_EQ(sources_of_the_watch(), 1);
	io_port_close(port_.get());
	EXPECT_EQ(sources_of_the_watch(), 0);
}

TEST_F(EdgeWatchTest, AClosedPortReportsNothingMore)
{
	watch();
	toggle_for_ever();
	fake_ugpio::edge("1");
	g_main_context_iteration(nullptr, FALSE);
	io_port_close(port_.get());
	calls();
	turn();
	EXPECT_THAT(calls(), IsEmpty());
}

} // namespace
