#include "fakes/fake-ugpio.h"

#include "fakes/recorder.h"
#include "util/unique-fd.h"

#include <fcntl.h>
#include <unistd.h>

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
		if (writer.valid()) {
			dup3(ends[1], writer.get(), O_CLOEXEC);
			close(ends[1]);
		} else {
			writer.reset(ends[1]);
		}
	}
};

struct LineState {
	std::vector<int> values = {0};
	size_t next = 0;
	bool gone = false;
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

void unexport(const std::string &line)
{
	lines[line].gone = true;
	edge(line);
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
	if (line.gone) {
		errno = ENODEV;
		return -1;
	}
	if (!line.signal.reader.valid())
		line.signal.quieten();
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
