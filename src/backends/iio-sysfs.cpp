#include "backends/iio-sysfs.h"

#include "util/log.h"
#include "util/unique-fd.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

namespace
{

/// The longest path of a name attribute, and its terminator; a longer one is
/// cut.
constexpr size_t kNamePathSize = 40;

struct DirDeleter {
	void operator()(DIR *dir) const
	{
		closedir(dir);
	}
};
using DirPtr = std::unique_ptr<DIR, DirDeleter>;

bool warn(const char *what, const std::string &path)
{
	g_warning("Failed to %s sysfs path '%s': %s", what, path.c_str(),
		  g_strerror(errno));
	return false;
}

const char *prefix_of(int type)
{
	switch (type) {
	case IIO_DEVICE:
		return kIioDevicePrefix;
	case IIO_TRIGGER:
		return kIioTriggerPrefix;
	default:
		return nullptr;
	}
}

/// The number in the name of an entry; none for an entry of another kind.
std::optional<int> number_of(const char *entry, const char *prefix)
{
	const size_t length = std::strlen(prefix);
	if (std::strncmp(entry, prefix, length) != 0)
		return std::nullopt;
	int number = 0;
	if (std::sscanf(entry + length, "%d", &number) == 1)
		return number;
	g_warning("Failed to find device number for device %s: %s", entry,
		  g_strerror(EINVAL));
	return std::nullopt;
}

bool has_name(const char *root, const char *prefix, int number,
	      const char *name)
{
	std::array<char, kNamePathSize> path;
	g_snprintf(path.data(), path.size(), "%s%s%d/name", root, prefix,
		   number);
	std::string found;
	return iio_read_sysfs(path.data(), &found) && found == name;
}

} // namespace

bool iio_read_sysfs(const std::string &filename, std::string *contents)
{
	constexpr size_t kPage = 4096;
	const util::UniqueFd fd(open(filename.c_str(), O_RDONLY | O_CLOEXEC));
	if (!fd.valid())
		return warn("read", filename);
	std::array<char, kPage> text;
	const ssize_t length = read(fd.get(), text.data(), text.size());
	if (length < 0)
		return warn("read", filename);
	contents->assign(text.data(), static_cast<size_t>(length));
	if (const size_t end = contents->rfind('\n'); end != std::string::npos)
		contents->resize(end);
	return true;
}

bool iio_write_sysfs(const std::string &filename, const std::string &text,
		     const char *close_failure)
{
	const int fd = open(filename.c_str(), O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		return warn("open", filename);
	const bool written = write(fd, text.data(), text.size()) ==
			     static_cast<ssize_t>(text.size());
	if (!written)
		warn("write", filename);
	if (close(fd) == 0)
		return written;
	if (close_failure == nullptr)
		return warn("close", filename);
	g_warning("%s", close_failure);
	return false;
}

bool iio_write_sysfs(const std::string &filename, int value)
{
	return iio_write_sysfs(filename, std::to_string(value).substr(0, 1));
}

int iio_get_device_number_with_type(const char *name, int type,
				    const char *root)
{
	constexpr int kNone = -1;
	const char *prefix = prefix_of(type);
	if (prefix == nullptr) {
		g_log(nullptr, util::kLogLevelUser, "Unknown device_type: %d",
		      type);
		return kNone;
	}
	const DirPtr dir(opendir(root));
	if (!dir) {
		g_warning("Failed to open sysfs path: %s\n", g_strerror(errno));
		return kNone;
	}
	while (const dirent *entry = readdir(dir.get())) {
		const auto number = number_of(entry->d_name, prefix);
		if (number && has_name(root, prefix, *number, name))
			return *number;
	}
	return kNone;
}

int iio_get_device_number(const char *name, const char *root)
{
	return iio_get_device_number_with_type(name, IIO_DEVICE, root);
}
