#include "simboard/picture.h"

#include <gtest/gtest.h>

using namespace simboard;

namespace
{

const std::vector<std::string> ROWS = {
	"board\tTest board",
	"line\t1\tbutton\tc\tbutton\tin\thigh\tidle\tgpio1\tboth\t0\t-",
	"line\t20\t-\tc\twire\tout\tlow\tdaemon\t-\tnone\t1\tread:EIO",
};

} // namespace

TEST(Picture, ShowsALinePerRowAndLeavesOutWhatIsUsual)
{
	EXPECT_EQ(board_picture(ROWS, false),
		  "Test board\n"
		  "\n"
		  "LINE  NAME    WIRING  DIRECTION  LEVEL  DRIVEN BY  EXPORTED"
		  "  EDGE  LOW  NOTE\n"
		  "1     button  button  in         high   idle       gpio1   "
		  "  both\n"
		  "20            wire    out        low    daemon             "
		  "        1    read:EIO\n");
}

TEST(Picture, ColoursWhatIsHigh)
{
	std::string picture = board_picture(ROWS, true);

	EXPECT_NE(picture.find("\033[32m1  "), std::string::npos) << picture;
	EXPECT_NE(picture.find("\033[2m20  "), std::string::npos) << picture;
}

TEST(Picture, AnEmptyBoardHasATitle)
{
	EXPECT_TRUE(
		board_picture({"board\tx"}, false).starts_with("x\n\nLINE"));
}
