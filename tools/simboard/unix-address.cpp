#include "unix-address.h"

#include "error.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace simboard
{

bool UnixAddress::set(const std::string &path, GError **error)
{
	if (path.empty() || path.size() >= sizeof(address_.sun_path)) {
		set_failure(error, "a socket cannot have the path \"%s\"",
			    path.c_str());
		return false;
	}
	address_ = {};
	address_.sun_family = AF_UNIX;
	memcpy(address_.sun_path, path.c_str(), path.size());
	return true;
}

void UnixAddress::remove_left_over() const
{
	struct stat status;

	if (lstat(address_.sun_path, &status) == 0 && S_ISSOCK(status.st_mode))
		unlink(address_.sun_path);
}

} // namespace simboard
