#include "util/identity.h"

#include <cerrno>
#include <grp.h>
#include <pwd.h>
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

} // namespace

ServiceIdentity::ServiceIdentity()
{
	if (geteuid() != 0)
		return;
	const passwd *user = getpwnam(kServiceUser);
	const group *own_group = getgrnam(kServiceUser);
	if (user == nullptr || own_group == nullptr)
		return;
	group_ = getegid();
	groups_ = current_groups();
	taken_ = true;
	// The groups first: the user may not change them.
	if (initgroups(user->pw_name, own_group->gr_gid) < 0 ||
	    setegid(own_group->gr_gid) < 0 || seteuid(user->pw_uid) < 0)
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

} // namespace util
