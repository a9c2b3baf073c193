#include "main/privileges.h"

#include "util/log.h"

#include <cerrno>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <glib.h>

namespace
{

bool take_group(const char *user, gid_t gid)
{
	if (setgid(gid) < 0) {
		util::print_err("Failed setting gid to %d: %s\n",
				static_cast<int>(gid), g_strerror(errno));
		return false;
	}
	if (initgroups(user, gid) < 0) {
		util::print_err("Unable to run initgroups() with username: "
				"%s, gid: %d: %s\n",
				user, static_cast<int>(gid), g_strerror(errno));
		return false;
	}
	return true;
}

} // namespace

void drop_privileges(const char *name)
{
	const passwd *user = getpwnam(name);
	if (user == nullptr) {
		util::print_err("Couldn't get uid for user \"%s\".\n", name);
		return;
	}
	const group *own_group = getgrnam(name);
	if (own_group == nullptr) {
		util::print_err("Couldn't get gid for group \"%s\".\n", name);
		return;
	}
	if (take_group(user->pw_name, own_group->gr_gid) &&
	    setuid(user->pw_uid) < 0)
		util::print_err("Failed setting uid to %d: %s\n",
				static_cast<int>(user->pw_uid),
				g_strerror(errno));
}
