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

/// Leaves errno as it is.
bool warn(const char *what, const std::string &path)
{
	const int reason = errno;
	g_warning("Failed to %s sysfs path '%s': %s", what, path.c_str(),
		  g_strerror(reason));
	errno = reason;
	return false;
}

bool read_file(const std::string &path, std::string *text)
{
	constexpr size_t kPage = 4096;
	const util::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
	std::array<char, kPage> part;
	ssize_t length = fd.valid() ? 1 : -1;
	while (length > 0) {
		length = read(fd.get(), part.data(), part.size());
		if (length > 0)
			text->append(part.data(), static_cast<size_t>(length));
	}
	return length == 0;
}

void warn_of_reading(const std::string &path, int reason,
		     util::RateLimit *limit)
{
	constexpr char kFormat[] = "Failed to read sysfs path '%s': %s";
	if (limit != nullptr)
		limit->warn(kFormat, path.c_str(), g_strerror(reason));
	else
		g_warning(kFormat, path.c_str(), g_strerror(reason));
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

bool iio_read_sysfs(const std::string &filename, std::string *contents,
		    util::RateLimit *limit)
{
	std::string text;
	if (!read_file(filename, &text)) {
		const int reason = errno;
		warn_of_reading(filename, reason, limit);
		errno = reason;
		return false;
	}
	if (limit != nullptr)
		limit->settle();
	if (const size_t end = text.rfind('\n'); end != std::string::npos)
		text.resize(end);
	*contents = std::move(text);
	return true;
}

/// Not closed by a handle: what the kernel has to say then is looked at.
bool iio_write_sysfs(const std::string &filename, const std::string &text)
{
	const int fd = open(filename.c_str(), O_WRONLY | O_CLOEXEC);
	if (fd < 0)
		return warn("open", filename);
	const bool written = write(fd, text.data(), text.size()) ==
			     static_cast<ssize_t>(text.size());
	if (!written)
		warn("write", filename);
	return close(fd) == 0 ? written : warn("close", filename);
}

bool iio_write_sysfs(const std::string &filename, int value)
{
	return iio_write_sysfs(filename, std::to_string(value).substr(0, 1));
}

void iio_wait_for_access(const std::string &filename)
{
	constexpr gulong kInterval = 10 * G_TIME_SPAN_MILLISECOND;
	constexpr int kMost = G_TIME_SPAN_SECOND / kInterval;
	for (int i = 0; i < kMost; ++i) {
		const util::UniqueFd fd(
			open(filename.c_str(), O_WRONLY | O_CLOEXEC));
		if (fd.valid() || errno != EACCES)
			return;
		g_usleep(kInterval);
	}
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
