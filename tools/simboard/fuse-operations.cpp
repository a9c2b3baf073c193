#include "fuse-operations.h"

#include "fuse-ioctl.h"
#include "fuse-read.h"
#include "fuse-request.h"

#include <cerrno>

namespace simboard
{

// No exception may cross libfuse: every function below is noexcept.
namespace
{

/// Nothing may be remembered by the kernel: files come and go by themselves.
constexpr double NO_TIME = 0;

using PollHandlePtr = util::Handle<fuse_pollhandle, fuse_pollhandle_destroy>;

std::shared_ptr<Folder> find_folder(fuse_req_t request, fuse_ino_t id)
{
	return std::dynamic_pointer_cast<Folder>(
		layer_of(request).find_node(id));
}

struct stat status_of(fuse_req_t request, const NodePtr &node)
{
	struct stat status = {};

	status.st_ino = layer_of(request).node_id(node);
	status.st_mode = node->mode;
	status.st_uid = node->owner;
	status.st_gid = node->group;
	status.st_nlink = 1;
	status.st_size = node->size();
	return status;
}

/// Tells the kernel of a node that is there.
void answer_entry(fuse_req_t request, const NodePtr &node)
{
	FuseLayer &layer = layer_of(request);
	fuse_entry_param entry = {};

	entry.ino = layer.node_id(node);
	entry.attr = status_of(request, node);
	entry.attr_timeout = entry.entry_timeout = NO_TIME;
	layer.remember(node);
	if (fuse_reply_entry(request, &entry) != 0)
		layer.forget(entry.ino, 1);
}

void on_lookup(fuse_req_t request, fuse_ino_t parent, const char *name) noexcept
{
	auto folder = find_folder(request, parent);
	NodePtr node = folder ? folder->find(name) : nullptr;

	if (node)
		answer_entry(request, node);
	else
		fuse_reply_err(request, ENOENT);
}

void on_forget(fuse_req_t request, fuse_ino_t id, uint64_t count) noexcept
{
	layer_of(request).forget(id, count);
	fuse_reply_none(request);
}

void on_forget_multi(fuse_req_t request, size_t count,
		     fuse_forget_data *forgets) noexcept
{
	for (size_t i = 0; i < count; ++i)
		layer_of(request).forget(forgets[i].ino, forgets[i].nlookup);
	fuse_reply_none(request);
}

void on_getattr(fuse_req_t request, fuse_ino_t id, fuse_file_info *) noexcept
{
	NodePtr node = layer_of(request).find_node(id);

	if (!node) {
		fuse_reply_err(request, ENOENT);
		return;
	}
	struct stat status = status_of(request, node);
	fuse_reply_attr(request, &status, NO_TIME);
}

/// Owner, group and permissions change as in sysfs; that a file is cut (by
/// O_TRUNC) or dated is accepted and means nothing.
void on_setattr(fuse_req_t request, fuse_ino_t id, struct stat *wanted,
		int fields, fuse_file_info *info) noexcept
{
	NodePtr node = layer_of(request).find_node(id);

	if (node && (fields & FUSE_SET_ATTR_MODE))
		node->mode = (node->mode & S_IFMT) |
			     (wanted->st_mode & ~static_cast<mode_t>(S_IFMT));
	if (node && (fields & FUSE_SET_ATTR_UID))
		node->owner = wanted->st_uid;
	if (node && (fields & FUSE_SET_ATTR_GID))
		node->group = wanted->st_gid;
	on_getattr(request, id, info);
}

void on_open(fuse_req_t request, fuse_ino_t id, fuse_file_info *info) noexcept
{
	FuseLayer &layer = layer_of(request);
	auto file = std::dynamic_pointer_cast<File>(layer.find_node(id));
	FuseLayer::Handle handle;
	int error = file ? file->open(info->flags, file, handle.file) : ENOENT;

	if (error != 0) {
		fuse_reply_err(request, error);
		return;
	}
	info->nonseekable = !handle.file->seekable();
	info->direct_io = 1;
	info->fh = layer.add_handle(std::move(handle));
	park_reads(layer, info->fh);
	// The caller may have been killed meanwhile; nobody will close then.
	if (fuse_reply_open(request, info) != 0)
		layer.drop_handle(info->fh);
}

void on_release(fuse_req_t request, fuse_ino_t, fuse_file_info *info) noexcept
{
	layer_of(request).drop_handle(info->fh);
	fuse_reply_err(request, 0);
}

void on_write(fuse_req_t request, fuse_ino_t, const char *data, size_t size,
	      off_t, fuse_file_info *info) noexcept
{
	OpenFile *file = find_file(request, info);
	int error =
		file ? file->write({data, size}, process_of(request)) : EBADF;

	if (error != 0)
		fuse_reply_err(request, error);
	else
		fuse_reply_write(request, size);
}

void on_poll(fuse_req_t request, fuse_ino_t, fuse_file_info *info,
	     fuse_pollhandle *raw) noexcept
{
	std::shared_ptr<fuse_pollhandle> handle = PollHandlePtr(raw);
	OpenFile *file = find_file(request, info);

	if (!file) {
		fuse_reply_err(request, EBADF);
		return;
	}
	if (handle)
		file->when_ready(
			[handle] { fuse_lowlevel_notify_poll(handle.get()); });
	fuse_reply_poll(request, file->poll());
}

void on_opendir(fuse_req_t request, fuse_ino_t id,
		fuse_file_info *info) noexcept
{
	FuseLayer &layer = layer_of(request);
	auto folder = find_folder(request, id);
	FuseLayer::Handle handle;

	if (!folder) {
		fuse_reply_err(request, ENOENT);
		return;
	}
	handle.entries.assign(folder->children().begin(),
			      folder->children().end());
	handle.entries.insert(handle.entries.begin(),
			      {{".", folder}, {"..", folder}});
	info->fh = layer.add_handle(std::move(handle));
	if (fuse_reply_open(request, info) != 0)
		layer.drop_handle(info->fh);
}

void on_readdir(fuse_req_t request, fuse_ino_t, size_t size, off_t offset,
		fuse_file_info *info) noexcept
{
	FuseLayer::Handle *handle = layer_of(request).find_handle(info->fh);
	std::string data(size, '\0');
	std::size_t used = 0;

	for (auto i = static_cast<std::size_t>(offset);
	     handle && i < handle->entries.size(); ++i) {
		auto &[name, node] = handle->entries[i];
		struct stat status = status_of(request, node);
		std::size_t needed = fuse_add_direntry(
			request, &data[used], size - used, name.c_str(),
			&status, static_cast<off_t>(i + 1));
		if (needed > size - used)
			break;
		used += needed;
	}
	fuse_reply_buf(request, data.data(), used);
}

void on_mkdir(fuse_req_t request, fuse_ino_t parent, const char *name,
	      mode_t) noexcept
{
	auto folder = find_folder(request, parent);
	int error =
		folder ? folder->make_child(name, process_of(request)) : ENOENT;
	NodePtr node = error == 0 ? folder->find(name) : nullptr;

	if (node)
		answer_entry(request, node);
	else
		fuse_reply_err(request, error);
}

void on_rmdir(fuse_req_t request, fuse_ino_t parent, const char *name) noexcept
{
	auto folder = find_folder(request, parent);

	fuse_reply_err(request,
		       folder ? folder->remove_child(name, process_of(request))
			      : ENOENT);
}

// Nobody adds, removes or renames anything else: EPERM, and EACCES for a new
// file, as the kernel's VFS and kernfs answer.

void on_create(fuse_req_t request, fuse_ino_t, const char *, mode_t,
	       fuse_file_info *) noexcept
{
	fuse_reply_err(request, EACCES);
}

void on_mknod(fuse_req_t request, fuse_ino_t, const char *, mode_t,
	      dev_t) noexcept
{
	fuse_reply_err(request, EPERM);
}

void on_unlink(fuse_req_t request, fuse_ino_t, const char *) noexcept
{
	fuse_reply_err(request, EPERM);
}

void on_symlink(fuse_req_t request, const char *, fuse_ino_t,
		const char *) noexcept
{
	fuse_reply_err(request, EPERM);
}

void on_rename(fuse_req_t request, fuse_ino_t, const char *, fuse_ino_t,
	       const char *, unsigned) noexcept
{
	fuse_reply_err(request, EPERM);
}

void on_link(fuse_req_t request, fuse_ino_t, fuse_ino_t, const char *) noexcept
{
	fuse_reply_err(request, EPERM);
}

} // namespace

const fuse_lowlevel_ops FUSE_OPERATIONS = {
	.lookup = on_lookup,
	.forget = on_forget,
	.getattr = on_getattr,
	.setattr = on_setattr,
	.mknod = on_mknod,
	.mkdir = on_mkdir,
	.unlink = on_unlink,
	.rmdir = on_rmdir,
	.symlink = on_symlink,
	.rename = on_rename,
	.link = on_link,
	.open = on_open,
	.read = on_read,
	.write = on_write,
	.release = on_release,
	.opendir = on_opendir,
	.readdir = on_readdir,
	.releasedir = on_release,
	.create = on_create,
	.ioctl = on_ioctl,
	.poll = on_poll,
	.forget_multi = on_forget_multi,
};

} // namespace simboard
