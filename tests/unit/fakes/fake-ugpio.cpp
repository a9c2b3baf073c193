#include "fakes/fake-ugpio.h"

#include "fakes/recorder.h"
#include "util/unique-fd.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>

struct ugpio {
	std::string line;
	bool open = false;
};

namespace
{

/// A pipe's writing end signals an error once its reader is gone.
struct Signal {
	util::UniqueFd reader;
	util::UniqueFd writer;

	/// The same descriptor, quiet.
	void quieten()
	{
		int ends[2];
		if (pipe2(ends, O_CLOEXEC) != 0)
			return;
		reader.reset(ends[0]);
		become(ends[1]);
	}
	void hang_up()
	{
		int ends[2];
		if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) !=
		    0)
			return;
		become(ends[1]);
		close(ends[0]);
	}
	/// Takes over what is behind a descriptor.
	void become(int other)
	{
		if (writer.valid()) {
			dup3(other, writer.get(), O_CLOEXEC);
			close(other);
		} else {
			writer.reset(other);
		}
	}
};

struct LineState {
	std::vector<int> values = {0};
	size_t next = 0;
	/// Of reading the descriptor.
	int error = 0;
	Signal signal;
};

std::map<std::string, LineState> lines;
std::multiset<std::string> requested;
std::map<std::string, int> errors;
std::set<std::string> refused;

/// Sets errno when the function is to fail.
bool fails(const char *function)
{
	const auto found = errors.find(function);
	if (found == errors.end())
		return false;
	errno = found->second;
	return true;
}

ugpio_t *make(const std::string &line)
{
	if (refused.erase(line) > 0) {
		errno = EBUSY;
		return nullptr;
	}
	requested.insert(line);
	return new ugpio{line};
}

const char *name(const ugpio_t *gpio)
{
	return gpio != nullptr ? gpio->line.c_str() : "null";
}

/// As a null handle is refused.
int result(const char *function, const ugpio_t *gpio)
{
	if (gpio == nullptr) {
		errno = EBADF;
		return -1;
	}
	return fails(function) ? -1 : 0;
}

} // namespace

namespace fake_ugpio
{

void reset()
{
	lines.clear();
	errors.clear();
	refused.clear();
	requested.clear();
}

void fail_request(const std::string &line)
{
	refused.insert(line);
}

void fail(const std::string &function, int error)
{
	if (error == 0)
		errors.erase(function);
	else
		errors[function] = error;
}

void set_values(const std::string &line, std::vector<int> values)
{
	lines[line].values = std::move(values);
	lines[line].next = 0;
}

void edge(const std::string &line)
{
	lines[line].signal.reader.reset();
}

void break_line(const std::string &line, int error)
{
	lines[line].error = error;
	edge(line);
}

void hang_up(const std::string &line)
{
	lines[line].signal.hang_up();
}

void mend(const std::string &line)
{
	lines[line].error = 0;
	lines[line].signal.quieten();
}

std::vector<std::string> held()
{
	return {requested.begin(), requested.end()};
}

} // namespace fake_ugpio

ugpio_t *ugpio_request_one(unsigned int gpio, unsigned int flags,
			   const char *label)
{
	recorder::note("ugpio_request_one(%u, 0x%x, %s)", gpio, flags, label);
	return make(std::to_string(gpio));
}

ugpio_t *ugpio_request_one_named(const char *line, unsigned int flags)
{
	recorder::note("ugpio_request_one_named(%s, 0x%x)", line, flags);
	return make(line);
}

ugpio_t *ugpio_request(unsigned int gpio, const char *label)
{
	recorder::note("ugpio_request(%u, %s)", gpio, label);
	return make(std::to_string(gpio));
}

ugpio_t *ugpio_request_named(const char *line)
{
	recorder::note("ugpio_request_named(%s)", line);
	return make(line);
}

int ugpio_full_open(ugpio_t *gpio)
{
	recorder::note("ugpio_full_open(%s)", name(gpio));
	const int status = result("ugpio_full_open", gpio);
	if (status == 0) {
		gpio->open = true;
		lines[gpio->line].signal.quieten();
	}
	return status;
}

int ugpio_set_activelow(ugpio_t *gpio, int active_low)
{
	recorder::note("ugpio_set_activelow(%s, %d)", name(gpio), active_low);
	return result("ugpio_set_activelow", gpio);
}

int ugpio_get_value(ugpio_t *gpio)
{
	recorder::note("ugpio_get_value(%s)", name(gpio));
	if (result("ugpio_get_value", gpio) != 0)
		return -1;
	LineState &line = lines[gpio->line];
	const size_t index = std::min(line.next++, line.values.size() - 1);
	return line.values[index];
}

int ugpio_set_value(ugpio_t *gpio, int value)
{
	recorder::note("ugpio_set_value(%s, %d)", name(gpio), value);
	return result("ugpio_set_value", gpio);
}

int ugpio_fd(ugpio_t *gpio)
{
	return gpio != nullptr && gpio->open
		       ? lines[gpio->line].signal.writer.get()
		       : -1;
}

void ugpio_close(ugpio_t *gpio)
{
	recorder::note("ugpio_close(%s)", name(gpio));
	if (gpio != nullptr)
		gpio->open = false;
}

void ugpio_free(ugpio_t *gpio)
{
	recorder::note("ugpio_free(%s)", name(gpio));
	if (gpio != nullptr)
		requested.erase(requested.find(gpio->line));
	delete gpio;
}

/// In place of the C library's: reading a line's descriptor makes it quiet,
/// which no descriptor that can be had here does.
ssize_t pread(int fd, void *buffer, size_t size, off_t offset)
{
	for (auto &[name, line] : lines) {
		if (line.signal.writer.get() != fd)
			continue;
		if (line.error != 0) {
			errno = line.error;
			return -1;
		}
		line.signal.quieten();
		*static_cast<char *>(buffer) = '0';
		return 1;
	}
	return syscall(SYS_pread64, fd, buffer, size, offset);
}
