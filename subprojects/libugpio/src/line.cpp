#include "line.h"

#include "ugpio.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace ugpio_sysfs
{

namespace
{

using Clock = std::chrono::steady_clock;

/// How long the files of a new export may take, and how often to look.
constexpr auto kPatience = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(2);

bool exists(const std::string &path)
{
	return access(path.c_str(), F_OK) == 0;
}

/// Whether this process may write to the file; one that is not there is not
/// waited for.
bool usable(const std::string &path)
{
	return !exists(path) || access(path.c_str(), W_OK) == 0;
}

const char *edge_word(unsigned flags)
{
	switch (flags & (UGPIO_TRIGGER_FALLING | UGPIO_TRIGGER_RISING)) {
	case UGPIO_TRIGGER_FALLING:
		return "falling";
	case UGPIO_TRIGGER_RISING:
		return "rising";
	case UGPIO_TRIGGER_FALLING | UGPIO_TRIGGER_RISING:
		return "both";
	default:
		return "none";
	}
}

const char *direction_word(unsigned flags)
{
	if ((flags & UGPIO_DIRECTION_IN) != 0)
		return "in";
	return (flags & UGPIO_INITIAL_HIGH) != 0 ? "high" : "low";
}

} // namespace

Line::Line(std::string folder, unsigned flags)
	: folder_(std::move(folder)), flags_(flags)
{
}

std::unique_ptr<Line> Line::of_number(const std::string &root, unsigned number,
				      unsigned flags)
{
	const std::string text = std::to_string(number);
	std::unique_ptr<Line> line(new Line(root + "/gpio" + text, flags));
	if (!exists(line->folder_)) {
		const std::string export_file = root + "/export";
		if (write_attribute(export_file, text)) {
			line->unexport_file_ = root + "/unexport";
			line->number_ = text;
		} else if (errno != EBUSY || !exists(line->folder_)) {
			warn_about(("write " + text + " to").c_str(),
				   export_file);
			return nullptr;
		}
	}
	return line->configure() ? std::move(line) : nullptr;
}

std::unique_ptr<Line> Line::of_exported_name(const std::string &root,
					     const std::string &name,
					     unsigned flags)
{
	std::unique_ptr<Line> line(new Line(root + "/" + name, flags));
	// A chip has a folder there, too, but no value.
	if (!exists(line->file("value")))
		return nullptr;
	return line->configure() ? std::move(line) : nullptr;
}

Line::~Line()
{
	value_.reset();
	const int saved_errno = errno;
	// Somebody else may have unexported it, or the chip may be gone.
	if (!unexport_file_.empty() && exists(folder_) &&
	    !write_attribute(unexport_file_, number_))
		warn_about(("write " + number_ + " to").c_str(),
			   unexport_file_);
	errno = saved_errno;
}

/// The kernel makes the folder at once, but whoever manages devices gives
/// access to its files a little later.
bool Line::wait_for_attributes() const
{
	const auto end = Clock::now() + kPatience;
	for (;;) {
		const std::string files[] = {file("value"), file("direction"),
					     file("edge"), file("active_low")};
		bool all = exists(files[0]);
		for (const std::string &path : files)
			all = all && usable(path);
		if (all)
			return true;
		if (Clock::now() > end)
			break;
		std::this_thread::sleep_for(kInterval);
	}
	errno = exists(file("value")) ? EACCES : ENOENT;
	warn_about("use the attributes in", folder_);
	return false;
}

bool Line::write_if_present(const char *attribute, const char *text) const
{
	const std::string path = file(attribute);
	if (!exists(path) || write_attribute(path, text))
		return true;
	warn_about((std::string("write ") + text + " to").c_str(), path);
	return false;
}

/// A line that cannot change its direction has no such attribute, nor one that
/// cannot interrupt an edge.
bool Line::configure() const
{
	if (!wait_for_attributes())
		return false;
	const bool input = (flags_ & UGPIO_DIRECTION_IN) != 0;
	// An output cannot be watched, so an edge that is still set is in the
	// way of a change to output.
	if (!input && !write_if_present("edge", "none"))
		return false;
	return write_if_present("direction", direction_word(flags_)) &&
	       (!input || write_if_present("edge", edge_word(flags_)));
}

/// The first poll of a value that was never read shows an edge. This one is
/// read at once, so what shows is an edge.
bool Line::open_value()
{
	const bool input = (flags_ & UGPIO_DIRECTION_IN) != 0;
	const std::string path = file("value");
	value_.reset(open(path.c_str(), (input ? O_RDONLY : O_RDWR) |
						O_CLOEXEC | O_NONBLOCK));
	if (fd() < 0 || (input && value() < 0)) {
		warn_about("open", path);
		value_.reset();
		return false;
	}
	return true;
}

void Line::close_value()
{
	value_.reset();
}

bool Line::set_active_low(bool active_low)
{
	const std::string path = file("active_low");
	if (write_attribute(path, active_low ? "1" : "0"))
		return true;
	warn_about("write to", path);
	return false;
}

int Line::value() const
{
	char digit = 0;
	const ssize_t length = pread(fd(), &digit, 1, 0);
	if (length == 1 && (digit == '0' || digit == '1'))
		return digit - '0';
	if (length >= 0)
		errno = EIO;
	return -1;
}

bool Line::set_value(bool value) const
{
	return pwrite(fd(), value ? "1" : "0", 1, 0) == 1;
}

} // namespace ugpio_sysfs
