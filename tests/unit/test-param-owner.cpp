// The accounts and the change of owner are the system's; these stand in for
// them, so that the test needs neither the accounts nor the rights.

#include "log-capture.h"
#include "params/param.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kPath[] = "/etc/orvad/orvad.conf";

passwd user;
group user_group;
bool have_user;
bool have_group;
int chown_errno;
std::vector<std::string> chown_calls;

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

int lchown(const char *path, uid_t uid, gid_t gid) noexcept
{
	chown_calls.push_back(std::string(path) + " " + std::to_string(uid) +
			      ":" + std::to_string(static_cast<int>(gid)));
	errno = chown_errno;
	return chown_errno == 0 ? 0 : -1;
}

namespace
{

class ParamOwnerTest : public testing::Test
{
protected:
	ParamOwnerTest()
	{
		user.pw_uid = 700;
		user_group.gr_gid = 701;
		have_user = true;
		have_group = true;
		chown_errno = 0;
		chown_calls.clear();
	}

	LogCapture log_;
};

TEST_F(ParamOwnerTest, TheFileGoesToTheDaemonsUserAndGroupWithoutFollowing)
{
	param_set_owner_group(kPath);
	EXPECT_THAT(chown_calls, ElementsAre("/etc/orvad/orvad.conf 700:701"));
	EXPECT_THAT(log_.messages(), IsEmpty());
}

TEST_F(ParamOwnerTest, WithoutTheUserNothingChanges)
{
	have_user = false;
	param_set_owner_group(kPath);
	EXPECT_THAT(chown_calls, IsEmpty());
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed to get uid"));
}

TEST_F(ParamOwnerTest, WithoutTheGroupTheFileKeepsItsGroup)
{
	have_group = false;
	param_set_owner_group(kPath);
	EXPECT_THAT(chown_calls, ElementsAre("/etc/orvad/orvad.conf 700:-1"));
	EXPECT_THAT(log_.warnings(), ElementsAre("Failed to get gid"));
}

TEST_F(ParamOwnerTest, AFailureIsLogged)
{
	chown_errno = EPERM;
	param_set_owner_group(kPath);
	EXPECT_THAT(log_.warnings(),
		    ElementsAre("chown failed on file "
				"'/etc/orvad/orvad.conf': (1) Operation not "
				"permitted"));
}

} // namespace
