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

TEST(Picture, DrawsConvertersAndLoopsWithTheirLevel)
{
	std::vector<std::string> rows = {
		"board\tx",
		"converter\tadc\tspidev0.1\t0\t16\t500000\t1\t7\t14\t0x1f"
		"\t-",
		"loop\tfront\tadc\t0x1f\tclosed\t85\t7\tdoor\t255",
		"loop\tgate\tadc\t0x02\tcut\t255\t0\t-\t255",
		"loop\tyard\tadc\t0x03\tshort\t0\t0\t-\t255",
	};
	std::string picture = board_picture(rows, false);

	EXPECT_NE(picture.find("\n\n"
			       "CONVERTER  DEVICE     MODE  BITS  HZ      OPEN"
			       "  MESSAGES  NOTE\n"
			       "adc        spidev0.1  0     16    500000  1   "
			       "  7\n"
			       "\n"
			       "LOOP   CONVERTER  ADDRESS  STATE   LEVEL"
			       "                       LINE\n"
			       "front  adc        0x1f     closed   85 "
			       "[######..............]  door\n"
			       "gate   adc        0x02     cut     255 "
			       "[####################]\n"
			       "yard   adc        0x03     short     0 "
			       "[....................]\n"),
		  std::string::npos)
		<< picture;
}

TEST(Picture, TamperedLoopsAreRed)
{
	std::string picture = board_picture(
		{"board\tx", "loop\tgate\tadc\t0x02\tcut\t255\t0\t-\t255"},
		true);

	EXPECT_NE(picture.find("\033[31mgate "), std::string::npos) << picture;
}
