#include "util/regular-file.h"

#include "temp-dir.h"
#include "util/glib-ptr.h"

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace
{

using testing::EndsWith;
using testing::StartsWith;

constexpr std::size_t kLimit = 100000;

class RegularFileTest : public testing::Test
{
protected:
	/// The error's text; empty when the file was read.
	std::string read()
	{
		util::Error error;
		const bool success = util::read_regular_file(
			path_.c_str(), kLimit, &text_, &error);
		EXPECT_EQ(success, !error);
		return success ? "" : error.message();
	}
	TempDir dir_;
	std::string path_ = dir_.file("file");
	std::string text_;
};

TEST_F(RegularFileTest, IsReadWhole)
{
	const std::string text(kLimit, 'x');
	write_file(path_, text);
	EXPECT_EQ(read(), "");
	EXPECT_EQ(text_, text);
}

TEST_F(RegularFileTest, MayBeEmpty)
{
	write_file(path_, "");
	EXPECT_EQ(read(), "");
	EXPECT_EQ(text_, "");
}

TEST_F(RegularFileTest, BeyondTheLimitIsRefused)
{
	write_file(path_, std::string(kLimit + 1, 'x'));
	EXPECT_EQ(read(), path_ + ": File too large");
}

TEST_F(RegularFileTest, OfHolesIsAsLargeAsItSays)
{
	write_file(path_, "");
	ASSERT_EQ(truncate(path_.c_str(), off_t{1} << 40), 0);
	EXPECT_THAT(read(), EndsWith(": File too large"));
}

TEST_F(RegularFileTest, ThatIsNotThereIsNamed)
{
	EXPECT_EQ(read(), path_ + ": No such file or directory");
}

TEST_F(RegularFileTest, AFifoIsNotWaitedFor)
{
	ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
	EXPECT_THAT(read(), StartsWith(path_));
}

TEST_F(RegularFileTest, AFolderIsNone)
{
	path_ = dir_.file("");
	EXPECT_THAT(read(), StartsWith(path_));
}

} // namespace
