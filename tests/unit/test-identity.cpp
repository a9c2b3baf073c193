// The accounts and the process's identity are the system's; these stand in for
// them, with the system's rules, so that the test needs neither the accounts
// nor the rights.

#include "util/identity.h"

#include "log-capture.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uid_t kUser = 700;
constexpr gid_t kGroup = 701;
constexpr gid_t kCamera = 702;
constexpr gid_t kRootsGroup = 5;

struct Identity {
	uid_t uid = 0;
	gid_t gid = 0;
	std::vector<gid_t> groups;
	bool operator==(const Identity &) const = default;
};

Identity process;
/// The effective user may be changed to this one: the real, or the saved one.
uid_t real_uid;
passwd user;
group user_group;
char user_name[] = "qel";
bool have_user;
bool have_group;
bool may_change_groups;

/// What only root may do.
int change_groups(std::vector<gid_t> groups)
{
	if (process.uid != 0 || !may_change_groups) {
		errno = EPERM;
		return -1;
	}
	process.groups = std::move(groups);
	return 0;
}

} // namespace

passwd *getpwnam(const char *name)
{
	return have_user && std::strcmp(name, "qel") == 0 ? &user : nullptr;
}

group *getgrnam(const char *name)
{
	return have_group && std::strcmp(name, "qel") == 0 ? &user_group
							   : nullptr;
}

uid_t geteuid() noexcept
{
	return process.uid;
}

gid_t getegid() noexcept
{
	return process.gid;
}

int getgroups(int size, gid_t *groups) noexcept
{
	const auto count = static_cast<int>(process.groups.size());
	if (size == 0)
		return count;
	if (size < count) {
		errno = EINVAL;
		return -1;
	}
	std::ranges::copy(process.groups, groups);
	return count;
}

int setgroups(size_t size, const gid_t *groups) noexcept
{
	return change_groups({groups, groups + size});
}

int initgroups(const char *name, gid_t gid)
{
	EXPECT_STREQ(name, "qel");
	return change_groups({gid, kCamera});
}

int setegid(gid_t gid) noexcept
{
	if (process.uid != 0 || !may_change_groups) {
		errno = EPERM;
		return -1;
	}
	process.gid = gid;
	return 0;
}

int seteuid(uid_t uid) noexcept
{
	if (process.uid != 0 && uid != real_uid) {
		errno = EPERM;
		return -1;
	}
	process.uid = uid;
	return 0;
}

namespace
{

class IdentityTest : public testing::Test
{
protected:
	IdentityTest()
	{
		process = {0, kRootsGroup, {kRootsGroup, 6, 7}};
		real_uid = 0;
		user.pw_uid = kUser;
		user.pw_name = user_name;
		user_group.gr_gid = kGroup;
		have_user = true;
		have_group = true;
		may_change_groups = true;
	}

	LogCapture log_;
};

TEST_F(IdentityTest, TheProcessIsTheServiceUserForAWhile)
{
	const Identity before = process;
	{
		const util::ServiceIdentity identity;
		EXPECT_EQ(process,
			  (Identity{kUser, kGroup, {kGroup, kCamera}}));
	}
	EXPECT_EQ(process, before);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IdentityTest, AProcessWithoutFurtherGroupsHasNoneAgain)
{
	process.groups.clear();
	const Identity before = process;
	{
		const util::ServiceIdentity identity;
		EXPECT_EQ(process.uid, kUser);
	}
	EXPECT_EQ(process, before);
}

TEST_F(IdentityTest, AProcessThatIsNotRootStaysWhatItIs)
{
	process = {kUser, kGroup, {kGroup}};
	real_uid = kUser;
	const Identity before = process;
	{
		const util::ServiceIdentity identity;
		EXPECT_EQ(process, before);
	}
	EXPECT_EQ(process, before);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IdentityTest, WithoutTheAccountsNothingChanges)
{
	const Identity before = process;
	for (const bool user_there : {false, true}) {
		have_user = user_there;
		have_group = !user_there;
		const util::ServiceIdentity identity;
		EXPECT_EQ(process, before);
	}
	EXPECT_EQ(process, before);
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(IdentityTest, OneInsideAnotherChangesNothingMore)
{
	const util::ServiceIdentity outer;
	const Identity as_outer = process;
	{
		const util::ServiceIdentity inner;
		EXPECT_EQ(process, as_outer);
	}
	EXPECT_EQ(process, as_outer);
}

TEST_F(IdentityTest, RightsThatAreMissingAreComplainedOf)
{
	may_change_groups = false;
	const Identity before = process;
	{
		const util::ServiceIdentity identity;
	}
	EXPECT_EQ(process, before);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("Cannot act as user qel: Operation not "
				"permitted",
				"Cannot act as root again: Operation not "
				"permitted"));
}

} // namespace
