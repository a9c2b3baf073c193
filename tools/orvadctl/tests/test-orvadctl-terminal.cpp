#include "orvadctl/terminal.h"
#include "util/unique-fd.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <glib.h>
#include <sys/ioctl.h>

using namespace orvadctl;

namespace
{

/// Both ends of a pseudo terminal.
class TerminalTest : public testing::Test
{
protected:
	void SetUp() override
	{
		ASSERT_GE(far_.get(), 0);
		ASSERT_EQ(grantpt(far_.get()), 0);
		ASSERT_EQ(unlockpt(far_.get()), 0);
		near_.reset(open(ptsname(far_.get()), O_RDWR | O_NOCTTY));
		ASSERT_GE(near_.get(), 0);
	}
	void TearDown() override
	{
		for (const char *name : {"TERM", "LC_ALL"})
			g_unsetenv(name);
	}

	util::UniqueFd far_{posix_openpt(O_RDWR | O_NOCTTY)};
	util::UniqueFd near_;
	util::UniqueFd file_{open("/dev/null", O_RDWR)};
};

} // namespace

TEST_F(TerminalTest, WidthIsThePresentOne)
{
	for (unsigned short width : {20, 200}) {
		struct winsize size = {};
		size.ws_col = width;
		ASSERT_EQ(ioctl(near_.get(), TIOCSWINSZ, &size), 0);
		EXPECT_EQ(terminal_width(near_.get()), width);
	}
}

TEST_F(TerminalTest, WidthThatCannotBeToldIsTheUsualOne)
{
	EXPECT_EQ(terminal_width(near_.get()), 80u);
	EXPECT_EQ(terminal_width(file_.get()), 80u);
	EXPECT_EQ(terminal_width(-1), 80u);
}

TEST_F(TerminalTest, HeightIsThePresentOneOrTheUsualOne)
{
	struct winsize size = {};

	EXPECT_EQ(terminal_height(near_.get()), 24u);
	EXPECT_EQ(terminal_height(file_.get()), 24u);
	size.ws_row = 7;
	ASSERT_EQ(ioctl(near_.get(), TIOCSWINSZ, &size), 0);
	EXPECT_EQ(terminal_height(near_.get()), 7u);
}

TEST_F(TerminalTest, IsRedrawnOnlyWhenItsCursorMoves)
{
	g_setenv("TERM", "xterm", TRUE);
	EXPECT_TRUE(can_redraw(near_.get()));
	EXPECT_FALSE(can_redraw(file_.get()));
	g_setenv("TERM", "dumb", TRUE);
	EXPECT_FALSE(can_redraw(near_.get()));
	g_setenv("TERM", "", TRUE);
	EXPECT_FALSE(can_redraw(near_.get()));
	g_unsetenv("TERM");
	EXPECT_FALSE(can_redraw(near_.get()));
}

TEST_F(TerminalTest, LocaleTellsWhetherItWritesUtf8)
{
	g_setenv("LC_ALL", "C.UTF-8", TRUE);
	EXPECT_TRUE(locale_is_utf8());
	for (const char *name : {"C", "POSIX", "none_SUCH.UTF-8"}) {
		g_setenv("LC_ALL", name, TRUE);
		EXPECT_FALSE(locale_is_utf8()) << name;
	}
}
