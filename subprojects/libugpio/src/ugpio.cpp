#include "ugpio.h"

#include "line.h"
#include "named-line.h"

#include <cerrno>
#include <cstring>
#include <string_view>

using ugpio_sysfs::Flags;
using ugpio_sysfs::Line;

struct ugpio {
	std::unique_ptr<Line> line;
};

namespace
{

constexpr int kFailed = -1;

ugpio_t *handle_of(std::unique_ptr<Line> line)
{
	return line ? new ugpio{std::move(line)} : nullptr;
}

/// A name becomes the name of a folder.
bool is_safe_name(const char *name)
{
	const std::string_view text = name != nullptr ? name : "";
	return !text.empty() && text != "." && text != ".." &&
	       text.find('/') == text.npos;
}

ugpio_t *request_number(unsigned number, Flags flags)
{
	return handle_of(Line::of_number(ugpio_sysfs::kRoot, number, flags));
}

ugpio_t *request_name(const char *name, Flags flags)
{
	if (!is_safe_name(name)) {
		errno = EINVAL;
		ugpio_sysfs::warn_about("take for a line's name",
					name != nullptr ? name : "(null)");
		return nullptr;
	}
	errno = 0;
	auto line = Line::of_exported_name(ugpio_sysfs::kRoot, name, flags);
	if (line || errno != ENOENT)
		return handle_of(std::move(line));
	const auto number = ugpio_sysfs::find_named_line(
		ugpio_sysfs::kRoot, ugpio_sysfs::kChipDevices, name);
	if (!number) {
		ugpio_sysfs::warn_about("find in /dev/gpiochip* the line",
					name);
		return nullptr;
	}
	return request_number(*number, flags);
}

int refuse_null()
{
	errno = EBADF;
	return kFailed;
}

int result(bool success)
{
	return success ? 0 : kFailed;
}

} // namespace

ugpio_t *ugpio_request_one(unsigned int gpio, unsigned int flags, const char *)
{
	return request_number(gpio, flags);
}

ugpio_t *ugpio_request_one_named(const char *name, unsigned int flags)
{
	return request_name(name, flags);
}

ugpio_t *ugpio_request(unsigned int gpio, const char *)
{
	return request_number(gpio, std::nullopt);
}

ugpio_t *ugpio_request_named(const char *name)
{
	return request_name(name, std::nullopt);
}

int ugpio_full_open(ugpio_t *gpio)
{
	return gpio != nullptr ? result(gpio->line->open_value())
			       : refuse_null();
}

int ugpio_set_activelow(ugpio_t *gpio, int active_low)
{
	return gpio != nullptr
		       ? result(gpio->line->set_active_low(active_low != 0))
		       : refuse_null();
}

int ugpio_get_value(ugpio_t *gpio)
{
	return gpio != nullptr ? gpio->line->value() : refuse_null();
}

int ugpio_set_value(ugpio_t *gpio, int value)
{
	return gpio != nullptr ? result(gpio->line->set_value(value != 0))
			       : refuse_null();
}

int ugpio_fd(ugpio_t *gpio)
{
	return gpio != nullptr ? gpio->line->fd() : refuse_null();
}

void ugpio_close(ugpio_t *gpio)
{
	if (gpio != nullptr)
		gpio->line->close_value();
}

void ugpio_free(ugpio_t *gpio)
{
	delete gpio;
}
