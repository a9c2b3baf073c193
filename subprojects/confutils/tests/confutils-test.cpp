#include "confutils.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <grp.h>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

// Owners are given away here, so these tests need the rights of root.

namespace fs = std::filesystem;

namespace
{

constexpr uid_t kOwner = 1234;
constexpr gid_t kGroup = 5678;
constexpr uid_t kNobody = 65534;

std::string contents_of(const fs::path &path)
{
	std::ifstream file(path, std::ios::binary);
	return {std::istreambuf_iterator<char>(file), {}};
}

struct stat attributes_of(const fs::path &path)
{
	struct stat attributes = {};
	EXPECT_EQ(lstat(path.c_str(), &attributes), 0) << strerror(errno);
	return attributes;
}

mode_t mode_of(const fs::path &path)
{
	return attributes_of(path).st_mode & 07777;
}

class Confutils : public testing::Test
{
protected:
	void SetUp() override
	{
		auto name = (fs::temp_directory_path() / "confutils.XXXXXX")
				    .string();
		ASSERT_NE(mkdtemp(name.data()), nullptr);
		directory_ = name;
		path_ = directory_ / "a.conf";
		umask_ = umask(022);
	}
	void TearDown() override
	{
		umask(umask_);
		g_clear_error(&error_);
		fs::remove_all(directory_);
	}

	bool save(const fs::path &path, const std::string &contents)
	{
		g_clear_error(&error_);
		return confutils_set_file_contents_with_sync(
			path.c_str(), contents.data(),
			static_cast<gssize>(contents.size()), &error_);
	}
	bool save(const std::string &contents)
	{
		return save(path_, contents);
	}
	void make_old_file(uid_t owner, gid_t group, mode_t mode)
	{
		std::ofstream(path_) << "old";
		ASSERT_EQ(chown(path_.c_str(), owner, group), 0)
			<< "these tests are for root";
		ASSERT_EQ(chmod(path_.c_str(), mode), 0);
	}
	// The save failed for that reason, the old file is as it was, and
	// nothing else is left in the directory.
	void expect_refused(GFileError reason)
	{
		EXPECT_TRUE(g_error_matches(error_, G_FILE_ERROR, reason))
			<< (error_ != nullptr ? error_->message : "no error");
		EXPECT_EQ(contents_of(path_), "old");
		expect_only_the_file();
	}
	void expect_only_the_file()
	{
		const auto files = fs::directory_iterator(directory_);
		EXPECT_EQ(std::distance(begin(files), end(files)), 1);
	}

	fs::path directory_;
	fs::path path_;
	GError *error_ = nullptr;

private:
	mode_t umask_ = 0;
};

// Runs action with the effective rights of another user and group.
void as_user(uid_t user, gid_t group, const std::function<void()> &action)
{
	const gid_t old_group = getegid();
	ASSERT_EQ(setegid(group), 0);
	ASSERT_EQ(seteuid(user), 0);
	action();
	ASSERT_EQ(seteuid(0), 0);
	ASSERT_EQ(setegid(old_group), 0);
}

TEST_F(Confutils, CreatesAFile)
{
	ASSERT_TRUE(save("[port]\nusage=door\n"));
	EXPECT_EQ(error_, nullptr);
	EXPECT_EQ(contents_of(path_), "[port]\nusage=door\n");
	EXPECT_EQ(mode_of(path_), 0644u);
	expect_only_the_file();
}

TEST_F(Confutils, AppliesTheUmaskToANewFile)
{
	umask(027);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(mode_of(path_), 0640u);
}

TEST_F(Confutils, ReplacesAFile)
{
	make_old_file(0, 0, 0644);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(contents_of(path_), "new");
	expect_only_the_file();
}

TEST_F(Confutils, TakesTheLengthFromTheText)
{
	ASSERT_TRUE(confutils_set_file_contents_with_sync(path_.c_str(), "text",
							  -1, nullptr));
	EXPECT_EQ(contents_of(path_), "text");
}

TEST_F(Confutils, WritesEveryByteThatTheLengthCovers)
{
	const std::string bytes("a\0b\xff", 4);
	ASSERT_TRUE(save(bytes));
	EXPECT_EQ(contents_of(path_), bytes);
}

TEST_F(Confutils, WritesAnEmptyFile)
{
	make_old_file(0, 0, 0644);
	ASSERT_TRUE(confutils_set_file_contents_with_sync(path_.c_str(),
							  nullptr, 0, nullptr));
	EXPECT_EQ(contents_of(path_), "");
}

TEST_F(Confutils, KeepsOwnerGroupAndMode)
{
	make_old_file(kOwner, kGroup, 0640);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(contents_of(path_), "new");
	EXPECT_EQ(attributes_of(path_).st_uid, kOwner);
	EXPECT_EQ(attributes_of(path_).st_gid, kGroup);
	EXPECT_EQ(mode_of(path_), 0640u);
}

TEST_F(Confutils, KeepsAModeThatTheUmaskForbids)
{
	make_old_file(0, 0, 0666);
	umask(077);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(mode_of(path_), 0666u);
}

TEST_F(Confutils, KeepsAModeWithoutAnyRight)
{
	make_old_file(kOwner, kGroup, 0);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(mode_of(path_), 0u);
	EXPECT_EQ(attributes_of(path_).st_uid, kOwner);
}

TEST_F(Confutils, GivesNewContentsNoOwnersRights)
{
	make_old_file(kOwner, kGroup, 06755);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(mode_of(path_), 0755u);
}

TEST_F(Confutils, ReplacesAFileWhoseOwnerItCannotKeep)
{
	make_old_file(kOwner, kGroup, 0640);
	ASSERT_EQ(chown(directory_.c_str(), kNobody, kNobody), 0);
	as_user(kNobody, kNobody, [this] { EXPECT_TRUE(save("new")); });
	EXPECT_EQ(error_, nullptr);
	EXPECT_EQ(contents_of(path_), "new");
	EXPECT_EQ(attributes_of(path_).st_uid, kNobody);
	EXPECT_EQ(mode_of(path_), 0640u);
}

TEST_F(Confutils, KeepsTheGroupWhenItCannotKeepTheOwner)
{
	make_old_file(kOwner, kGroup, 0640);
	ASSERT_EQ(chown(directory_.c_str(), kNobody, kNobody), 0);
	const gid_t member_of[] = {kGroup};
	ASSERT_EQ(setgroups(1, member_of), 0);
	as_user(kNobody, kNobody, [this] { EXPECT_TRUE(save("new")); });
	ASSERT_EQ(setgroups(0, nullptr), 0);
	EXPECT_EQ(attributes_of(path_).st_uid, kNobody);
	EXPECT_EQ(attributes_of(path_).st_gid, kGroup);
}

TEST_F(Confutils, ReplacesASymbolicLinkAndLeavesItsTarget)
{
	make_old_file(kOwner, kGroup, 0600);
	const auto link = directory_ / "link.conf";
	fs::create_symlink(path_, link);
	ASSERT_TRUE(save(link, "new"));

	EXPECT_TRUE(S_ISREG(attributes_of(link).st_mode));
	EXPECT_EQ(contents_of(link), "new");
	EXPECT_EQ(mode_of(link), 0644u);
	EXPECT_EQ(attributes_of(link).st_uid, 0u);
	EXPECT_EQ(contents_of(path_), "old");
	EXPECT_EQ(attributes_of(path_).st_uid, kOwner);
	EXPECT_EQ(mode_of(path_), 0600u);
}

TEST_F(Confutils, ReplacesASymbolicLinkThatLeadsNowhere)
{
	fs::create_symlink(directory_ / "nowhere", path_);
	ASSERT_TRUE(save("new"));
	EXPECT_TRUE(S_ISREG(attributes_of(path_).st_mode));
	expect_only_the_file();
}

TEST_F(Confutils, LeavesTheOtherNamesOfTheOldFileAlone)
{
	make_old_file(kOwner, kGroup, 0600);
	const auto other = directory_ / "other";
	fs::create_hard_link(path_, other);
	ASSERT_TRUE(save("new"));
	EXPECT_EQ(contents_of(other), "old");
	EXPECT_EQ(contents_of(path_), "new");
	EXPECT_EQ(attributes_of(path_).st_uid, kOwner);
}

TEST_F(Confutils, ReportsAMissingDirectory)
{
	make_old_file(0, 0, 0644);
	EXPECT_FALSE(save(directory_ / "missing" / "a.conf", "new"));
	expect_refused(G_FILE_ERROR_NOENT);
}

TEST_F(Confutils, ReportsAFileInPlaceOfTheDirectory)
{
	make_old_file(0, 0, 0644);
	EXPECT_FALSE(save(path_ / "a.conf", "new"));
	expect_refused(G_FILE_ERROR_NOTDIR);
}

TEST_F(Confutils, ReportsADirectoryInPlaceOfTheFile)
{
	fs::create_directory(path_);
	EXPECT_FALSE(save("new"));
	EXPECT_TRUE(g_error_matches(error_, G_FILE_ERROR, G_FILE_ERROR_ISDIR));
	EXPECT_TRUE(fs::is_directory(path_));
	expect_only_the_file();
}

TEST_F(Confutils, KeepsTheOldFileWhenItMayNotWriteInTheDirectory)
{
	make_old_file(0, 0, 0666);
	ASSERT_EQ(chmod(directory_.c_str(), 0755), 0);
	as_user(kNobody, kNobody, [this] { EXPECT_FALSE(save("new")); });
	expect_refused(G_FILE_ERROR_ACCES);
}

TEST_F(Confutils, KeepsTheOldFileWhenTheNewOneCannotBeWrittenWhole)
{
	make_old_file(kOwner, kGroup, 0640);
	struct rlimit limit;
	ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
	const struct rlimit small = {4096, limit.rlim_max};
	const auto handler = signal(SIGXFSZ, SIG_IGN);
	ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
	const bool saved = save(std::string(100'000, 'x'));
	ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
	signal(SIGXFSZ, handler);

	EXPECT_FALSE(saved);
	EXPECT_EQ(g_file_error_from_errno(EFBIG), G_FILE_ERROR_FAILED);
	expect_refused(G_FILE_ERROR_FAILED);
	EXPECT_EQ(attributes_of(path_).st_uid, kOwner);
}

TEST_F(Confutils, WorksWithoutAPlaceForTheError)
{
	EXPECT_FALSE(confutils_set_file_contents_with_sync(
		(directory_ / "missing" / "a").c_str(), "new", -1, nullptr));
}

TEST_F(Confutils, ShowsReadersTheOldOrTheNewContentsWhole)
{
	const std::string first(20'000, 'a');
	const std::string second(70'000, 'b');
	ASSERT_TRUE(save(first));
	std::atomic<bool> done = false;
	std::atomic<int> torn = 0;
	std::jthread reader([&] {
		while (!done) {
			const auto now = contents_of(path_);
			torn += now != first && now != second;
		}
	});
	for (int round = 0; round < 25; round++) {
		EXPECT_TRUE(save(second));
		EXPECT_TRUE(save(first));
	}
	done = true;
	reader.join();
	EXPECT_EQ(torn, 0);
}

TEST_F(Confutils, ServesSeveralThreadsAtOnce)
{
	make_old_file(kOwner, kGroup, 0640);
	const auto write = [this](char letter) {
		const std::string contents(30'000, letter);
		for (int round = 0; round < 15; round++)
			EXPECT_TRUE(confutils_set_file_contents_with_sync(
				path_.c_str(), contents.c_str(), -1, nullptr));
	};
	{
		std::jthread first(write, 'a');
		std::jthread second(write, 'b');
	}
	const auto contents = contents_of(path_);
	EXPECT_TRUE(contents == std::string(30'000, 'a') ||
		    contents == std::string(30'000, 'b'));
	EXPECT_EQ(attributes_of(path_).st_uid, kOwner);
	EXPECT_EQ(mode_of(path_), 0640u);
	expect_only_the_file();
}

} // namespace
