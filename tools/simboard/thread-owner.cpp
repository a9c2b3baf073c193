#include "thread-owner.h"

#include "util/glib-ptr.h"

#include <cstdlib>
#include <cstring>

namespace simboard
{

pid_t thread_owner(pid_t thread)
{
	std::string path = "/proc/" + std::to_string(thread) + "/status";
	char *contents = nullptr;

	if (!g_file_get_contents(path.c_str(), &contents, nullptr, nullptr))
		return thread;
	util::CharPtr owner(contents);
	const char *field = strstr(contents, "\nTgid:");
	return field ? atoi(field + strlen("\nTgid:")) : thread;
}

} // namespace simboard
