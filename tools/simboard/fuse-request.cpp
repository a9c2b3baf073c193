#include "fuse-request.h"

#include "thread-owner.h"

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
	return thread_owner(fuse_req_ctx(request)->pid);
}

} // namespace simboard
