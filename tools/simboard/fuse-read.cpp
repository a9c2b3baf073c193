#include "fuse-read.h"

#include "fuse-request.h"

#include <fcntl.h>

#include <cerrno>

namespace simboard
{

bool answer_read(OpenFile &file, fuse_req_t request, std::size_t size,
		 off_t offset)
{
	std::string data;
	int error = file.read(size, offset, data);

	if (error == OpenFile::NOTHING_YET)
		return false;
	if (error != 0)
		fuse_reply_err(request, error);
	else
		fuse_reply_buf(request, data.data(), data.size());
	return true;
}

void on_read(fuse_req_t request, fuse_ino_t, size_t size, off_t offset,
	     fuse_file_info *info) noexcept
{
	FuseLayer::Handle *handle = layer_of(request).find_handle(info->fh);

	if (!handle || !handle->file)
		fuse_reply_err(request, EBADF);
	else if (answer_read(*handle->file, request, size, offset))
		return;
	else if (info->flags & O_NONBLOCK)
		fuse_reply_err(request, EAGAIN);
	else
		handle->reads.add(request, size, offset);
}

void park_reads(FuseLayer &layer, std::uint64_t id)
{
	FuseLayer::Handle *handle = layer.find_handle(id);

	// Handles stay where they are as long as they are open.
	handle->file->when_readable(
		[handle] { handle->reads.retry(*handle->file); });
}

} // namespace simboard
