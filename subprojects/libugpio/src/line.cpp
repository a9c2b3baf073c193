#include "line.h"

#include "ugpio.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <thread>

namespace ugpio_sysfs
{

namespace
{

namespace fs = std::filesystem;

using Clock = std::chrono::steady_clock;

/// How long the files of a new export may take, and how often to look.
constexpr auto kPatience = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(2);

bool exists(const std::string &path)
{
	return access(path.c_str(), F_OK) == 0;
}

/// Whether this process may write to the file; one that is not there is not
/// waited for. False: errno.
bool usable(const std::string &path)
{
	return access(path.c_str(), W_OK) == 0 || errno == ENOENT;
}

/// Asks until there is an answer, for as long as a new export may take.
template <typename Answer> auto wait_for(Answer answer)
{
	const auto end = Clock::now() + kPatience;
	for (;;) {
		auto value = answer();
		if (value || Clock::now() > end)
			return value;
		std::this_thread::sleep_for(kInterval);
	}
}

/// The folders below @p root, those of chips included.
std::set<std::string> folders_in(const std::string &root)
{
	std::set<std::string> found;
	std::error_code error;
	for (fs::directory_iterator entry(root, error), end;
	     !error && entry != end; entry.increment(error)) {
		if (entry->is_directory(error))
			found.insert(entry->path());
	}
	return found;
}

/// The folder that a new export has made: @p usual, or, where the chip's driver
/// has names for its lines (gpiod_export() in drivers/gpio/gpiolib-sysfs.c),
/// the one that was not there @p before.
std::optional<std::string> new_folder(const std::string &root,
				      const std::string &usual,
				      const std::set<std::string> &before)
{
	if (exists(usual))
		return usual;
	std::set<std::string> added;
	std::ranges::set_difference(folders_in(root), before,
				    std::inserter(added, added.end()));
	if (added.size() != 1)
		return std::nullopt;
	return *added.begin();
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

const char *initial_value(unsigned flags)
{
	return (flags & UGPIO_INITIAL_HIGH) != 0 ? "1" : "0";
}

bool wants_edges(unsigned flags)
{
	return (flags & (UGPIO_TRIGGER_FALLING | UGPIO_TRIGGER_RISING)) != 0;
}

/// 0, 1 or -1.
int read_value(int fd)
{
	char digit = 0;
	const ssize_t length = pread(fd, &digit, 1, 0);
	if (length == 1 && (digit == '0' || digit == '1'))
		return digit - '0';
	if (length >= 0)
		errno = EIO;
	return -1;
}

const char *direction_word(unsigned flags)
{
	if ((flags & UGPIO_DIRECTION_IN) != 0)
		return "in";
	return (flags & UGPIO_INITIAL_HIGH) != 0 ? "high" : "low";
}

} // namespace

Line::Line(std::string folder, Flags flags, ExportUse use)
	: folder_(std::move(folder)), flags_(flags), export_(std::move(use))
{
}

std::unique_ptr<Line> Line::of_number(const std::string &root, unsigned number,
				      Flags flags)
{
	const std::string text = std::to_string(number);
	const std::string usual = root + "/gpio" + text;
	std::unique_ptr<Line> line;
	const std::set<std::string> before = folders_in(root);
	if (before.contains(usual)) {
		line.reset(new Line(usual, flags, ExportUse::further(usual)));
	} else if (write_attribute(root + "/export", text)) {
		const auto folder = wait_for(
			[&] { return new_folder(root, usual, before); });
		line.reset(new Line(
			folder.value_or(usual), flags,
			ExportUse::first(root, text, folder.value_or(usual))));
	} else if (const int reason = errno; reason == EBUSY && exists(usual)) {
		line.reset(new Line(usual, flags, ExportUse::further(usual)));
	} else {
		errno = reason;
		warn_about(("write " + text + " to").c_str(), root + "/export");
		return nullptr;
	}
	return line->prepare() ? std::move(line) : nullptr;
}

std::unique_ptr<Line> Line::of_exported_name(const std::string &root,
					     const std::string &name,
					     Flags flags)
{
	const std::string folder = root + "/" + name;
	std::error_code error;
	// A chip has a folder there, too.
	if (!fs::is_directory(folder, error) || exists(folder + "/base")) {
		errno = ENOENT;
		return nullptr;
	}
	std::unique_ptr<Line> line(
		new Line(folder, flags, ExportUse::further(folder)));
	return line->prepare() ? std::move(line) : nullptr;
}

bool Line::is_input() const
{
	return flags_ && (*flags_ & UGPIO_DIRECTION_IN) != 0;
}

bool Line::attributes_are_usable() const
{
	return access(file("value").c_str(), F_OK) == 0 &&
	       usable(file("value")) && usable(file("direction")) &&
	       usable(file("edge")) && usable(file("active_low"));
}

/// The kernel makes the folder at once, but whoever manages devices gives
/// access to its files a little later; of a line that was exported before, that
/// time is over.
bool Line::wait_for_attributes() const
{
	const auto usable_now = [this] { return attributes_are_usable(); };
	if (export_.is_first() ? wait_for(usable_now) : usable_now())
		return true;
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

bool Line::prepare() const
{
	return wait_for_attributes() && (!flags_ || configure(*flags_));
}

/// A line that cannot change its direction has no such attribute, nor one that
/// cannot interrupt an edge.
bool Line::configure(unsigned flags) const
{
	if (is_input() && wants_edges(flags) && !exists(file("edge")))
		g_warning("%s has no interrupt: its edges are not seen",
			  folder_.c_str());
	// Nobody looks at the edges of an output; one that is left set would
	// cost an interrupt each time.
	if (!is_input() && !write_if_present("edge", "none"))
		return false;
	if (!is_input() && !exists(file("direction")))
		return write_if_present("value", initial_value(flags));
	return write_if_present("direction", direction_word(flags)) &&
	       (!is_input() || write_if_present("edge", edge_word(flags)));
}

/// The first poll of a value that was never read shows an edge. This one is
/// read at once, so what shows is an edge.
bool Line::open_value()
{
	const std::string path = file("value");
	value_.reset(open(path.c_str(), (is_input() ? O_RDONLY : O_RDWR) |
						O_CLOEXEC | O_NONBLOCK));
	edges_.reset(is_input() ? open(path.c_str(),
				       O_RDONLY | O_CLOEXEC | O_NONBLOCK)
				: -1);
	if (value_.get() >= 0 && (!is_input() || read_value(edges_.get()) >= 0))
		return true;
	warn_about("open", path);
	close_value();
	return false;
}

void Line::close_value()
{
	edges_.reset();
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
	return read_value(value_.get());
}

bool Line::set_value(bool value) const
{
	return pwrite(value_.get(), value ? "1" : "0", 1, 0) == 1;
}

} // namespace ugpio_sysfs
