#include "orvadctl/level-view.h"
#include "orvadctl/text.h"

#include <gtest/gtest.h>

using namespace orvadctl;
using Ranges = std::vector<Range>;

namespace
{

constexpr guint32 HIGHEST = G_MAXUINT32;

const Ranges NONE = {};
/// Of a scale that ends at 399.
const Ranges FOUR = {{"short", 0, 39},
		     {"closed", 80, 199},
		     {"open", 200, 319},
		     {"cut", 380, 399}};

LevelView view_of(const Ranges &ranges, std::optional<guint32> level,
		  std::size_t width)
{
	LevelView view;
	view.ranges = ranges;
	view.level = level;
	view.top = scale_top(ranges, 0);
	view.width = width;
	return view;
}

std::vector<std::string> lines_of(const std::string &text)
{
	std::vector<std::string> lines;
	std::size_t start = 0;
	for (std::size_t end; (end = text.find('\n', start)) != text.npos;
	     start = end + 1)
		lines.push_back(text.substr(start, end - start));
	lines.push_back(text.substr(start));
	return lines;
}

struct Drawing {
	const char *what;
	Ranges ranges;
	std::optional<guint32> level;
	std::size_t width;
	const char *text;
};

const Drawing DRAWINGS[] = {
	{"level at 0", FOUR, 0, 40,
	 "v\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"first level of a range", FOUR, 80, 40,
	 "        v\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"last level of a range", FOUR, 199, 40,
	 "                   v\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"last level of the scale", FOUR, 399, 40,
	 "                                       v\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"level beyond the scale", FOUR, 400, 40,
	 "                                       >\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"highest level there is", FOUR, HIGHEST, 40,
	 "                                       >\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"no level", FOUR, std::nullopt, 40,
	 "\n"
	 "[s-]....[--closed--][---open---]......x]\n"
	 "0   40  80          200         320  399"},
	{"narrow", FOUR, 250, 20,
	 "            v\n"
	 "s]..[-c--][open]...x\n"
	 "0 40      200    399"},
	{"no ranges", NONE, 128, 20,
	 "          v\n"
	 "....................\n"
	 "0                255"},
	{"overlap",
	 {{"closed", 0, 199}, {"short", 120, 299}},
	 150,
	 30,
	 "               v\n"
	 "[--closed--][-----short------]\n"
	 "0           120            299"},
	{"range in another",
	 {{"closed", 0, 299}, {"cut", 100, 149}},
	 299,
	 30,
	 "                             v\n"
	 "[-closed-][cut][---closed----]\n"
	 "0         100  150         299"},
	{"hidden range",
	 {{"cut", 100, 149}, {"closed", 0, 299}},
	 299,
	 30,
	 "                             v\n"
	 "[-----------closed-----------]\n"
	 "0                          299"},
	{"one level wide",
	 {{"open", 0, 149}, {"cut", 154, 154}},
	 154,
	 16,
	 "         v\n"
	 "[-open--]x......\n"
	 "0        154 255"},
	{"reversed",
	 {{"open", 200, 100}},
	 150,
	 16,
	 "         v\n"
	 "................\n"
	 "0            255"},
	{"lower limit negative to the signed eye",
	 {{"open", 4294967286u, 50}},
	 0,
	 16,
	 "v\n"
	 "................\n"
	 "0            255"},
	{"huge",
	 {{"open", 0, 2147483647u}, {"cut", 2147483648u, HIGHEST}},
	 2147483648u,
	 24,
	 "            v\n"
	 "[---open---][---cut----]\n"
	 "0             4294967295"},
	{"unknown word",
	 {{"half-open", 0, 127}, {"a\033[2J", 128, 255}},
	 1,
	 24,
	 "v\n"
	 "[half-open-][-a\\x1b[2J-]\n"
	 "0           128      255"},
	{"unknown word without room",
	 {{"half-open", 0, 255}},
	 1,
	 8,
	 "v\n"
	 "[--?---]\n"
	 "0    255"},
	{"a single column", FOUR, 399, 1, "v\nx\n0"},
	{"no column", FOUR, 399, 0, "v\nx\n0"},
};

} // namespace

TEST(ScaleTop, ShowsEveryRangeAndLevel)
{
	EXPECT_EQ(scale_top(NONE, 0), 255u);
	EXPECT_EQ(scale_top(NONE, 256), 256u);
	EXPECT_EQ(scale_top(FOUR, 256), 399u);
	EXPECT_EQ(scale_top(FOUR, 1023), 1023u);
	EXPECT_EQ(scale_top({{"cut", 5, HIGHEST}}, 7), HIGHEST);
}

TEST(ScaleTop, LeavesOutWhatNoLevelIsIn)
{
	EXPECT_EQ(scale_top({{"open", 4294967286u, 4000}}, 0), 255u);
}

TEST(DrawLevel, ShowsLevelAndRanges)
{
	for (const Drawing &drawing : DRAWINGS)
		EXPECT_EQ(draw_level(view_of(drawing.ranges, drawing.level,
					     drawing.width)),
			  drawing.text)
			<< drawing.what;
}

TEST(DrawLevel, NeverIsWiderThanTheTerminal)
{
	for (const Drawing &drawing : DRAWINGS) {
		for (std::size_t width : {1, 2, 3, 5, 20, 80, 200, 1000}) {
			LevelView view =
				view_of(drawing.ranges, drawing.level, width);
			auto lines = lines_of(draw_level(view));
			ASSERT_EQ(lines.size(), 3u);
			// No more columns than there are levels.
			EXPECT_EQ(
				display_width(lines[1]),
				std::min<guint64>(width, guint64{view.top} + 1))
				<< drawing.what;
			EXPECT_LE(display_width(lines[0]), width);
			EXPECT_LE(display_width(lines[2]), width);
		}
	}
}

TEST(DrawLevel, MarksEveryLevelInsideItsRange)
{
	for (std::size_t width : {40, 80, 200, 400}) {
		const auto lines = lines_of(
			draw_level(view_of(FOUR, std::nullopt, width)));
		for (guint32 level = 0; level < 400; ++level) {
			const std::string mark = lines_of(
				draw_level(view_of(FOUR, level, width)))[0];
			const bool gap = lines[1][mark.size() - 1] == '.';
			const bool in_gap = (level >= 40 && level < 80) ||
					    (level >= 320 && level < 380);
			EXPECT_EQ(gap, in_gap) << level << " of " << width;
		}
	}
}

TEST(DrawLevel, UsesTheWholeWidth)
{
	// Two levels in each column.
	LevelView view = view_of(FOUR, 399, 200);
	EXPECT_EQ(lines_of(draw_level(view))[1],
		  "[" + std::string(6, '-') + "short" + std::string(7, '-') +
			  "]" + std::string(20, '.') + "[" +
			  std::string(26, '-') + "closed" +
			  std::string(26, '-') + "][" + std::string(27, '-') +
			  "open" + std::string(27, '-') + "]" +
			  std::string(30, '.') + "[--cut---]");
}

TEST(DrawLevel, DrawsWithUnicodeWhereItMay)
{
	LevelView view = view_of(FOUR, 80, 40);
	view.utf8 = true;
	EXPECT_EQ(draw_level(view), "        ▼\n"
				    "├s─┤····├──closed──┤├───open───┤······x┤\n"
				    "0   40  80          200         320  399");
	view.level = 400;
	EXPECT_EQ(lines_of(draw_level(view))[0], std::string(39, ' ') + "▶");
}

TEST(DrawLevel, GivesEachStateAColour)
{
	LevelView view = view_of(FOUR, 0, 20);
	view.colour = true;
	EXPECT_EQ(lines_of(draw_level(view))[0], "\033[1mv\033[0m");
	EXPECT_EQ(lines_of(draw_level(view))[1],
		  "\033[35ms]\033[0m\033[2m..\033[0m"
		  "\033[32m[-c--]\033[0m\033[36m[open]\033[0m"
		  "\033[2m...\033[0m\033[31mx\033[0m");
}

TEST(DrawLevel, CopesWithVeryManyRanges)
{
	Ranges ranges;
	for (guint32 i = 0; i < 200000; ++i)
		ranges.push_back({i % 2 ? "open" : "cut", i, i});
	EXPECT_EQ(
		display_width(lines_of(draw_level(view_of(ranges, 5, 80)))[1]),
		80u);
}
