// All of the project, and GLib, is compiled for 64-bit file offsets, so these
// are the functions that it calls.

#include "fakes/fake-iio.h"

#include "fakes/recorder.h"
#include "util/unique-fd.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/iio/events.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>

using fake_iio::Call;

namespace
{

constexpr char kDevices[] = "/sys/bus/iio/devices/";
constexpr char kTriggers[] = "/sys/kernel/config/iio/triggers/hrtimer/";
constexpr char kDeviceFile[] = "/dev/iio:device";

struct Kernel {
	std::string root;
	/// By descriptor.
	std::map<int, std::string> files;
	/// The ends that data is written to, by path.
	std::map<std::string, util::UniqueFd> sources;
	/// The errno, and how many times more; kAlways does not count down.
	std::map<std::pair<Call, std::string>, std::pair<int, unsigned>> errors;
	int triggers = 0;
};

/// Libraries open files before there are objects.
constinit std::unique_ptr<Kernel> mounted;

Kernel *kernel_of(const std::string &path)
{
	for (const char *place : {kDevices, kTriggers, kDeviceFile})
		if (path.starts_with(place))
			return mounted.get();
	return nullptr;
}

std::string short_name(const std::string &path)
{
	return path.starts_with(kDevices) ? path.substr(sizeof kDevices - 1)
					  : path;
}

/// Where a file is kept.
std::string place_of(const std::string &path)
{
	const char *folder = path.starts_with("/") ? "" : kDevices;
	return mounted->root + folder + path;
}

/// Where the file of that path is; not here, when it is none of the kernel's.
std::string translate(const std::string &path)
{
	return kernel_of(path) != nullptr ? place_of(path) : path;
}

/// Sets errno when the call is to fail.
bool fails(Call call, const std::string &name)
{
	const auto found = mounted->errors.find({call, name});
	if (found == mounted->errors.end())
		return false;
	auto &[error, times] = found->second;
	errno = error;
	if (times != fake_iio::kAlways && --times == 0)
		mounted->errors.erase(found);
	return true;
}

/// The name of one of the kernel's descriptors; null for any other.
const std::string *name_of(int fd)
{
	const Kernel *kernel = mounted.get();
	if (kernel == nullptr)
		return nullptr;
	const auto found = kernel->files.find(fd);
	return found != kernel->files.end() ? &found->second : nullptr;
}

/// A descriptor for data to come.
int open_source(const std::string &name, int flags)
{
	int ends[2];
	if (pipe2(ends, O_CLOEXEC) != 0)
		return -1;
	fcntl(ends[0], F_SETFL, flags & O_NONBLOCK);
	mounted->sources[name].reset(ends[1]);
	mounted->files[ends[0]] = name;
	return ends[0];
}

int open_kernel_file(const std::string &path, int flags)
{
	const std::string name = short_name(path);
	const bool is_device = path.starts_with(kDeviceFile);
	if (is_device)
		recorder::note("open(%s)", name.c_str());
	if (fails(Call::OPEN, name))
		return -1;
	const int fd = openat(AT_FDCWD, place_of(path).c_str(), flags);
	if (fd < 0)
		return -1;
	if (is_device) {
		close(fd);
		return open_source(name, flags);
	}
	mounted->files[fd] = name;
	return fd;
}

int get_event_fd(const std::string &name, int *result)
{
	recorder::note("get_event_fd(%s)", name.c_str());
	if (fails(Call::EVENT_FD, name))
		return errno == fake_iio::kNoDescriptor ? 0 : -1;
	*result =
		open_source("events" + name.substr(sizeof kDeviceFile - 1), 0);
	return 0;
}

/// Each write of an attribute replaces its contents.
ssize_t write_attribute(int fd, const std::string &name, const void *buffer,
			size_t size)
{
	const std::string text(static_cast<const char *>(buffer), size);
	recorder::note("write(%s, %s)", name.c_str(), text.c_str());
	if (fails(Call::WRITE, name) || ftruncate(fd, 0) != 0)
		return -1;
	return pwrite(fd, buffer, size, 0);
}

/// A timer trigger appears once its folder is made.
void add_trigger(const std::string &name)
{
	const std::string folder =
		"trigger" + std::to_string(mounted->triggers++);
	fake_iio::set(folder + "/name", name + "\n");
	fake_iio::set(folder + "/sampling_frequency", "100\n");
}

} // namespace

namespace fake_iio
{

void mount(const std::string &root)
{
	mounted = std::make_unique<Kernel>();
	mounted->root = root;
	for (const char *folder : {kDevices, kTriggers, "/dev/"})
		std::filesystem::create_directories(root + folder);
}

void unmount()
{
	mounted.reset();
}

void set(const std::string &path, const std::string &text)
{
	const std::filesystem::path place = place_of(path);
	std::filesystem::create_directories(place.parent_path());
	std::ofstream(place) << text;
}

std::string get(const std::string &path)
{
	std::ifstream file(place_of(path));
	return {std::istreambuf_iterator<char>(file), {}};
}

void remove(const std::string &path)
{
	std::filesystem::remove_all(place_of(path));
}

void fail(Call call, const std::string &path, int error, unsigned times)
{
	if (error == 0)
		mounted->errors.erase({call, path});
	else
		mounted->errors[{call, path}] = {error, times};
}

void send(const std::string &path, const std::string &bytes)
{
	const int fd = mounted->sources[path].get();
	if (write(fd, bytes.data(), bytes.size()) < 0)
		g_error("Nobody reads %s", path.c_str());
}

void send_event(const std::string &path, guint64 id)
{
	const iio_event_data event = {.id = id, .timestamp = 1};
	send(path, {reinterpret_cast<const char *>(&event), sizeof event});
}

void hang_up(const std::string &path)
{
	mounted->sources.erase(path);
}

bool is_non_blocking(const std::string &path)
{
	for (const auto &[fd, name] : mounted->files)
		if (name == path)
			return (fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
	return false;
}

std::vector<std::string> open_files()
{
	std::multiset<std::string> names;
	for (const auto &[fd, name] : mounted->files)
		names.insert(name);
	return {names.begin(), names.end()};
}

} // namespace fake_iio

// ---- in place of the C library's ----

int open(const char *path, int flags, ...)
{
	if (kernel_of(path) != nullptr)
		return open_kernel_file(path, flags);
	va_list arguments;
	va_start(arguments, flags);
	const bool makes_file = (flags & (O_CREAT | O_TMPFILE)) != 0;
	const mode_t mode = makes_file ? va_arg(arguments, mode_t) : 0;
	va_end(arguments);
	return openat(AT_FDCWD, path, flags, mode);
}

DIR *opendir(const char *path)
{
	if (kernel_of(path) != nullptr && fails(Call::OPENDIR, path))
		return nullptr;
	const int fd = openat(AT_FDCWD, translate(path).c_str(),
			      O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	return fd >= 0 ? fdopendir(fd) : nullptr;
}

int access(const char *path, int mode) noexcept
{
	return faccessat(AT_FDCWD, translate(path).c_str(), mode, 0);
}

int stat(const char *path, struct stat *result) noexcept
{
	return fstatat(AT_FDCWD, translate(path).c_str(), result, 0);
}

int mkdir(const char *path, mode_t mode) noexcept
{
	if (kernel_of(path) == nullptr)
		return mkdirat(AT_FDCWD, path, mode);
	recorder::note("mkdir(%s, %o)", path, mode);
	if (fails(Call::MKDIR, path))
		return -1;
	const int status = mkdirat(AT_FDCWD, place_of(path).c_str(), mode);
	if (status == 0)
		add_trigger(path + sizeof kTriggers - 1);
	return status;
}

ssize_t read(int fd, void *buffer, size_t size)
{
	if (const std::string *name = name_of(fd)) {
		recorder::note("read(%s)", name->c_str());
		if (fails(Call::READ, *name))
			return -1;
	}
	return syscall(SYS_read, fd, buffer, size);
}

ssize_t write(int fd, const void *buffer, size_t size)
{
	const std::string *name = name_of(fd);
	return name != nullptr ? write_attribute(fd, *name, buffer, size)
			       : syscall(SYS_write, fd, buffer, size);
}

int close(int fd)
{
	const std::string *name = name_of(fd);
	const bool failed = name != nullptr && fails(Call::CLOSE, *name);
	const int reason = errno;
	if (name != nullptr)
		mounted->files.erase(fd);
	if (syscall(SYS_close, fd) != 0)
		return -1;
	errno = reason;
	return failed ? -1 : 0;
}

int ioctl(int fd, unsigned long request, ...)
{
	va_list arguments;
	va_start(arguments, request);
	void *argument = va_arg(arguments, void *);
	va_end(arguments);
	const std::string *name = name_of(fd);
	if (request == IIO_GET_EVENT_FD_IOCTL && name != nullptr)
		return get_event_fd(*name, static_cast<int *>(argument));
	return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}
