#include "util/identity.h"

#include <cerrno>
#include <grp.h>
#include <optional>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

namespace util
{

namespace
{

std::vector<gid_t> current_groups()
{
	const int count = getgroups(0, nullptr);
	if (count <= 0)
		return {};
	std::vector<gid_t> groups(static_cast<std::size_t>(count));
	const int got = getgroups(count, groups.data());
	groups.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
	return groups;
}

struct Account {
	const passwd *user;
	const group *own_group;
};

/// The account of kServiceUser, when there is one and root asks.
std::optional<Account> account_for_root()
{
	if (geteuid() != 0)
		return {};
	const Account account = {getpwnam(kServiceUser),
				 getgrnam(kServiceUser)};
	if (account.user == nullptr || account.own_group == nullptr)
		return {};
	return account;
}

} // namespace

ServiceIdentity::ServiceIdentity()
{
	const auto account = account_for_root();
	if (!account)
		return;
	group_ = getegid();
	groups_ = current_groups();
	taken_ = true;
	// The groups first: the user may not change them.
	if (initgroups(account->user->pw_name, account->own_group->gr_gid) <
		    0 ||
	    setegid(account->own_group->gr_gid) < 0 ||
	    seteuid(account->user->pw_uid) < 0)
		g_warning("Cannot act as user %s: %s", kServiceUser,
			  g_strerror(errno));
}

ServiceIdentity::~ServiceIdentity()
{
	if (!taken_)
		return;
	if (seteuid(0) < 0 || setegid(group_) < 0 ||
	    setgroups(groups_.size(), groups_.data()) < 0)
		g_warning("Cannot act as root again: %s", g_strerror(errno));
}

bool is_of_service_user(const char *path)
{
	const auto account = account_for_root();
	struct stat attributes;
	return account && (lstat(path, &attributes) != 0 ||
			   attributes.st_uid == account->user->pw_uid);
}

void give_to_service_user(const char *path)
{
	const auto account = account_for_root();
	if (account &&
	    lchown(path, account->user->pw_uid, account->own_group->gr_gid) < 0)
		g_warning("Cannot give %s to %s: %s", path, kServiceUser,
			  g_strerror(errno));
}

} // namespace util
