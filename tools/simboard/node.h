#pragma once

/// The tree of files that a board shows, free of how it is mounted. Folders
/// hold nodes; a file makes an OpenFile for each open(), which answers reads,
/// writes, poll and ioctl. Everything happens in the main loop's thread and is
/// answered at once, but for ioctl and a read that has to wait; errors are
/// errno numbers, 0 is success.

#include <poll.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace simboard
{

/// What poll() says of a file that has no say in it: DEFAULT_POLLMASK of the
/// kernel's linux/poll.h.
constexpr unsigned USUAL_POLL = POLLIN | POLLOUT | POLLRDNORM | POLLWRNORM;

class Node
{
public:
	/// @param file_mode type and permissions, as in st_mode.
	explicit Node(mode_t file_mode);
	virtual ~Node() = default;
	Node(const Node &) = delete;
	Node &operator=(const Node &) = delete;

	/// Never given to another node, so that nothing takes a new file for a
	/// removed one of the same name.
	const std::uint64_t number;
	/// Whoever shows the tree enforces these.
	mode_t mode;
	uid_t owner = 0;
	gid_t group = 0;

	/// Whether it was taken out of the tree. Those who have it open keep
	/// it; it never comes back.
	bool removed() const
	{
		return removed_;
	}
	/// As st_size; the kernel believes it only of what is mapped.
	virtual off_t size() const
	{
		return 0;
	}
	/// Called by the folder that drops it.
	virtual void remove()
	{
		removed_ = true;
	}

private:
	bool removed_ = false;
};

using NodePtr = std::shared_ptr<Node>;

class Folder : public Node
{
public:
	explicit Folder(mode_t permissions = 0755) : Node(S_IFDIR | permissions)
	{
	}

	const std::map<std::string, NodePtr> &children() const
	{
		return children_;
	}
	/// The node of that name; null when there is none.
	NodePtr find(const std::string &name) const;

	/// Adds a node under a name that is free, and returns it.
	template <typename T>
	std::shared_ptr<T> add(const std::string &name, std::shared_ptr<T> node)
	{
		children_.emplace(name, node);
		return node;
	}
	/// Takes the node, with all below it, out of the tree.
	void drop(const std::string &name);
	/// What a user does: makes a folder under a name that is free, or
	/// removes one. EPERM unless a kind of folder allows it.
	virtual int make_child(const std::string &name, pid_t process);
	virtual int remove_child(const std::string &name, pid_t process);
	void remove() override;

private:
	std::map<std::string, NodePtr> children_;
};

/// The folder at a path of names below root; makes those that are missing.
std::shared_ptr<Folder> make_folders(const std::shared_ptr<Folder> &root,
				     const std::string &path);

/// An ioctl as it arrives: with what its number says that it takes along.
struct IoctlCall {
	unsigned command = 0;
	std::string_view argument; ///< As long as the call; may be empty.
	pid_t thread = 0;          ///< Of the caller, who waits.
	pid_t process = 0;         ///< That the thread belongs to.
};

/// Ends an ioctl, now or later; exactly one call, in the main loop's thread.
/// @param error an errno, or 0.
/// @param result what ioctl() returns then.
/// @param answer what the caller gets, of the length that the number says.
using IoctlDone =
	std::function<void(int error, int result, const std::string &answer)>;

/// What one open() gave. It keeps its file in memory.
class OpenFile
{
public:
	virtual ~OpenFile() = default;

	/// read() has nothing: the caller waits for ready() and asks again, or
	/// goes away with EAGAIN.
	static constexpr int NOTHING_YET = -1;

	/// Gives at most size bytes; none is the end of the file.
	/// @return 0, an errno, or NOTHING_YET.
	virtual int read(std::size_t size, off_t offset, std::string &data) = 0;
	/// Takes all of data or none.
	virtual int write(std::string_view data, pid_t process) = 0;
	/// The conditions that hold, as poll() reports them.
	virtual unsigned poll() = 0;
	/// ENOTTY unless a kind of file has some.
	virtual void ioctl(const IoctlCall &call, const IoctlDone &done);
	/// Whether the offset of a read means anything.
	virtual bool seekable() const
	{
		return true;
	}

	/// Has wake called once when poll() has become worth another look;
	/// replaces an earlier one.
	void when_ready(std::function<void()> wake)
	{
		wake_ = std::move(wake);
	}

	/// Has wake called every time when read() has become worth another
	/// look.
	void when_readable(std::function<void()> wake)
	{
		wake_readers_ = std::move(wake);
	}

protected:
	/// To be called when the answer of poll() or read() has changed.
	void ready();

private:
	std::function<void()> wake_;
	std::function<void()> wake_readers_;
};

class File : public Node
{
public:
	explicit File(mode_t permissions) : Node(S_IFREG | permissions)
	{
	}

	/// @param flags as for open().
	/// @param opened is set on success.
	/// @param self this, shared.
	virtual int open(int flags, const std::shared_ptr<File> &self,
			 std::unique_ptr<OpenFile> &opened) = 0;
};

} // namespace simboard
