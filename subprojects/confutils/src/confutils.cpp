#include "confutils.h"

#include <fcntl.h>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace
{

constexpr mode_t kNewFileMode = 0644;
// Bits that give rights to whoever runs a file do not pass to new contents.
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;

class UniqueFd
{
public:
	explicit UniqueFd(int fd) : fd_(fd)
	{
	}
	~UniqueFd()
	{
		if (fd_ >= 0)
			close(fd_);
	}
	UniqueFd(const UniqueFd &) = delete;
	UniqueFd &operator=(const UniqueFd &) = delete;

	int get() const
	{
		return fd_;
	}

private:
	const int fd_;
};

// The attributes of the regular file at path, if there is one.
std::optional<struct stat> attributes_of(const gchar *path)
{
	struct stat attributes;
	if (lstat(path, &attributes) != 0 || !S_ISREG(attributes.st_mode))
		return std::nullopt;
	return attributes;
}

bool same_attributes(const struct stat &a, const struct stat &b)
{
	return a.st_uid == b.st_uid && a.st_gid == b.st_gid &&
	       ((a.st_mode ^ b.st_mode) & kPermissions) == 0;
}

// Whoever may write to the directory can put another file at path at any
// moment. Only a plain file of our own that has no other name is ours to give
// away; a link of either kind would give away the file that it leads to.
bool is_ours(const struct stat &attributes)
{
	return S_ISREG(attributes.st_mode) && attributes.st_nlink == 1 &&
	       attributes.st_uid == geteuid();
}

// Gives the file at path the owner, the group and the mode of the file that it
// has replaced. What the caller has no right to is left as it is.
void keep_attributes(const gchar *path, const struct stat &old)
{
	const UniqueFd fd(
		open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
	struct stat now;
	if (fd.get() < 0 || fstat(fd.get(), &now) != 0 || !is_ours(now) ||
	    same_attributes(now, old))
		return;

	// One who may not give a file away may still be in its group.
	if (fchown(fd.get(), old.st_uid, old.st_gid) != 0)
		std::ignore =
			fchown(fd.get(), static_cast<uid_t>(-1), old.st_gid);
	std::ignore = fchmod(fd.get(), old.st_mode & kPermissions);
	// GLib has synced the contents; this is about the owner and the mode.
	fsync(fd.get());
}

} // namespace

gboolean confutils_set_file_contents_with_sync(const gchar *path,
					       const gchar *contents,
					       gssize length, GError **error)
{
	g_return_val_if_fail(path != nullptr, FALSE);
	g_return_val_if_fail(contents != nullptr || length == 0, FALSE);

	// A save must not take the file of another one, which has not been
	// given its attributes yet, for the old file.
	static std::mutex saving;
	const std::lock_guard lock(saving);

	const auto old = attributes_of(path);
	const mode_t mode = old ? old->st_mode & kPermissions : kNewFileMode;
	// Both flags together make GLib sync the new file before it is renamed
	// over the old one, and the directory after that: without the second
	// sync the old contents could be back after a crash.
	const auto flags = static_cast<GFileSetContentsFlags>(
		G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
	if (!g_file_set_contents_full(path, contents, length, flags,
				      static_cast<int>(mode), error))
		return FALSE;
	if (old)
		keep_attributes(path, *old);
	return TRUE;
}
