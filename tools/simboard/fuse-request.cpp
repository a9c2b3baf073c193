#include "fuse-request.h"

#include <cstdlib>
#include <cstring>

namespace simboard
{

FuseLayer &layer_of(fuse_req_t request)
{
	return *static_cast<FuseLayer *>(fuse_req_userdata(request));
}

OpenFile *find_file(fuse_req_t request, const fuse_file_info *info)
{
	FuseLayer::Handle *handle = layer_of(request).find_handle(info->fh);

	return handle ? handle->file.get() : nullptr;
}

pid_t process_of(fuse_req_t request)
{
	pid_t thread = fuse_req_ctx(request)->pid;
	std::string path = "/proc/" + std::to_string(thread) + "/status";
	char *contents = nullptr;

	if (!g_file_get_contents(path.c_str(), &contents, nullptr, nullptr))
		return thread;
	util::CharPtr owner(contents);
	const char *field = strstr(contents, "\nTgid:");
	return field ? atoi(field + strlen("\nTgid:")) : thread;
}

} // namespace simboard
