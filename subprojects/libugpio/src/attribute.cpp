#include "attribute.h"

#include <glib.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace ugpio_sysfs
{

namespace
{

/// An attribute fits into one page (Documentation/filesystems/sysfs.rst).
constexpr size_t kMaxText = 4096;

} // namespace

void UniqueFd::reset(int fd)
{
	const int saved_errno = errno;
	if (fd_ >= 0)
		close(fd_);
	fd_ = fd;
	errno = saved_errno;
}

void warn_about(const char *what, const std::string &path)
{
	const int saved_errno = errno;
	g_warning("Cannot %s %s: %s", what, path.c_str(),
		  g_strerror(saved_errno));
	errno = saved_errno;
}

bool write_attribute(const std::string &path, const std::string &text)
{
	const UniqueFd fd(open(path.c_str(), O_WRONLY | O_CLOEXEC));
	return fd.get() >= 0 && write(fd.get(), text.data(), text.size()) ==
					static_cast<ssize_t>(text.size());
}

std::optional<std::string> read_attribute(const std::string &path)
{
	const UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
	if (fd.get() < 0)
		return std::nullopt;
	std::string text(kMaxText, '\0');
	const ssize_t length = read(fd.get(), text.data(), text.size());
	if (length < 0)
		return std::nullopt;
	text.resize(static_cast<size_t>(length));
	text.erase(text.find_last_not_of(" \n") + 1);
	return text;
}

} // namespace ugpio_sysfs
