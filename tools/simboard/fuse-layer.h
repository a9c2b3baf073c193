#pragma once

/// Shows a tree of nodes as a file system, by libfuse's low-level interface, on
/// the main loop of the default context: one thread, no locks. Nothing in this
/// process may touch a file below the mount point, it would wait for itself.

#include "node.h"
#include "parked-reads.h"
#include "util/glib-ptr.h"
#include "util/scoped-source.h"

#include <unordered_map>
#include <vector>

struct fuse_buf;
struct fuse_session;

namespace simboard
{

class FuseLayer
{
public:
	/// What a descriptor of the kernel's stands for: the file, or the
	/// folder as it was when it was opened.
	struct Handle {
		std::unique_ptr<OpenFile> file;
		ParkedReads reads; ///< Of the file, that wait.
		std::vector<std::pair<std::string, NodePtr>> entries;
	};

	explicit FuseLayer(std::shared_ptr<Folder> root);
	/// Takes the file system away, also from those who still use it.
	~FuseLayer();
	FuseLayer(const FuseLayer &) = delete;
	FuseLayer &operator=(const FuseLayer &) = delete;

	/// Mounts it, for every user, with the nodes' permissions enforced.
	/// @param on_end called once when somebody else has unmounted it.
	bool mount(const char *mount_point, std::function<void()> on_end,
		   GError **error);

	// For the operations.
	std::uint64_t node_id(const NodePtr &node) const;
	/// Null when the kernel means a node that it was never told of.
	NodePtr find_node(std::uint64_t id) const;
	/// The kernel was told of the node once more, or forgets count times.
	void remember(const NodePtr &node);
	void forget(std::uint64_t id, std::uint64_t count);
	/// Handles are numbers, since the kernel's word is not taken for what
	/// is a pointer.
	std::uint64_t add_handle(Handle handle);
	Handle *find_handle(std::uint64_t id);
	void drop_handle(std::uint64_t id);

private:
	struct Known {
		NodePtr node;
		std::uint64_t count = 0;
	};
	struct End {
		void operator()(fuse_session *session) const;
	};
	struct FreeBuffer {
		void operator()(fuse_buf *buffer) const;
	};

	bool open_session(const char *mount_point);
	static gboolean on_request(gint fd, GIOCondition condition,
				   gpointer layer);
	bool serve_request();

	std::shared_ptr<Folder> root_;
	std::unordered_map<std::uint64_t, Known> known_;
	std::unordered_map<std::uint64_t, Handle> handles_;
	std::uint64_t last_handle_ = 0;
	std::unique_ptr<fuse_session, End> session_;
	/// What the requests are received in, one after the other; libfuse
	/// gives it its memory, more than a megabyte.
	std::unique_ptr<fuse_buf, FreeBuffer> buffer_;
	bool mounted_ = false;
	std::function<void()> on_end_;
	util::ScopedSource source_;
};

} // namespace simboard
