#include "fuse-layer.h"

#include "error.h"
#include "fuse-operations.h"

#include <glib-unix.h>

#include <cerrno>
#include <cstdlib>

namespace simboard
{

namespace
{

/// The last thing that libfuse had to say.
std::string complaint;

void keep_complaint(fuse_log_level, const char *format,
		    va_list arguments) noexcept
{
	util::CharPtr text(g_strdup_vprintf(format, arguments));

	complaint = g_strchomp(text.get());
}

} // namespace

void FuseLayer::End::operator()(fuse_session *session) const
{
	fuse_session_destroy(session);
}

void FuseLayer::FreeBuffer::operator()(fuse_buf *buffer) const
{
	free(buffer->mem);
	delete buffer;
}

FuseLayer::FuseLayer(std::shared_ptr<Folder> root)
	: root_(std::move(root)), buffer_(new fuse_buf())
{
}

FuseLayer::~FuseLayer()
{
	source_.reset();
	// Whoever waits is answered as long as there is a session.
	handles_.clear();
	if (mounted_)
		fuse_session_unmount(session_.get());
}

bool FuseLayer::open_session(const char *mount_point)
{
	const char *argv[] = {"simboard", "-o",
			      "allow_other,default_permissions,"
			      "fsname=simboard,subtype=simboard"};
	fuse_args args =
		FUSE_ARGS_INIT(G_N_ELEMENTS(argv), const_cast<char **>(argv));

	session_.reset(fuse_session_new(&args, &FUSE_OPERATIONS,
					sizeof(FUSE_OPERATIONS), this));
	mounted_ = session_ &&
		   fuse_session_mount(session_.get(), mount_point) == 0;
	fuse_opt_free_args(&args);
	return mounted_;
}

bool FuseLayer::mount(const char *mount_point, std::function<void()> on_end,
		      GError **error)
{
	fuse_set_log_func(keep_complaint);
	bool opened = open_session(mount_point);
	fuse_set_log_func(nullptr);
	if (!opened) {
		set_failure(error, "cannot mount on %s: %s", mount_point,
			    complaint.c_str());
		return false;
	}
	on_end_ = std::move(on_end);
	int fd = fuse_session_fd(session_.get());
	// A request may be taken back between poll and read.
	if (!g_unix_set_fd_nonblocking(fd, TRUE, error))
		return false;
	source_.reset(g_unix_fd_add(fd, G_IO_IN, on_request, this));
	return true;
}

gboolean FuseLayer::on_request(gint, GIOCondition, gpointer data)
{
	auto *layer = static_cast<FuseLayer *>(data);

	if (layer->serve_request())
		return G_SOURCE_CONTINUE;
	layer->source_.release();
	layer->on_end_();
	return G_SOURCE_REMOVE;
}

/// False when there will be no more.
bool FuseLayer::serve_request()
{
	int size = fuse_session_receive_buf(session_.get(), buffer_.get());

	if (size == -EINTR || size == -EAGAIN)
		return true;
	if (size <= 0)
		return false;
	fuse_session_process_buf(session_.get(), buffer_.get());
	return !fuse_session_exited(session_.get());
}

std::uint64_t FuseLayer::node_id(const NodePtr &node) const
{
	return node == root_ ? std::uint64_t{FUSE_ROOT_ID}
			     : FUSE_ROOT_ID + node->number;
}

NodePtr FuseLayer::find_node(std::uint64_t id) const
{
	if (id == FUSE_ROOT_ID)
		return root_;
	auto place = known_.find(id);
	return place == known_.end() ? nullptr : place->second.node;
}

void FuseLayer::remember(const NodePtr &node)
{
	Known &known = known_[node_id(node)];

	known.node = node;
	++known.count;
}

void FuseLayer::forget(std::uint64_t id, std::uint64_t count)
{
	auto place = known_.find(id);

	if (place == known_.end())
		return;
	if (place->second.count > count)
		place->second.count -= count;
	else
		known_.erase(place);
}

std::uint64_t FuseLayer::add_handle(Handle handle)
{
	handles_.emplace(++last_handle_, std::move(handle));
	return last_handle_;
}

FuseLayer::Handle *FuseLayer::find_handle(std::uint64_t id)
{
	auto place = handles_.find(id);

	return place == handles_.end() ? nullptr : &place->second;
}

void FuseLayer::drop_handle(std::uint64_t id)
{
	handles_.erase(id);
}

} // namespace simboard
