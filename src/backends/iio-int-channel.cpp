#include "backends/iio-int-channel.h"

#include "backends/iio-sysfs.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace
{

constexpr size_t kLongestPath = 199;

std::string attribute_path(const IioChannelName &name, const char *folder,
			   const char *attribute)
{
	std::string path = std::string(kIioDevices) + kIioDevicePrefix +
			   std::to_string(name.device) + "/" + folder + "in_" +
			   name.channel + "_";
	if (name.extension)
		path += *name.extension + "_";
	return (path + attribute).substr(0, kLongestPath);
}

bool open_file(util::UniqueFd *fd, const std::string &path)
{
	fd->reset(open(path.c_str(), O_WRONLY | O_CLOEXEC));
	if (!fd->valid())
		g_warning("Failed to open sysfs path '%s': %s", path.c_str(),
			  g_strerror(errno));
	return fd->valid();
}

} // namespace

bool iio_write_attribute(int fd, const std::string &text,
			 util::RateLimit *limit)
{
	constexpr char kFormat[] = "Failed to write sysfs: %s";
	const bool written = write(fd, text.data(), text.size()) ==
			     static_cast<ssize_t>(text.size());
	if (written && limit != nullptr)
		limit->settle();
	else if (!written && limit != nullptr)
		limit->warn(kFormat, g_strerror(errno));
	else if (!written)
		g_warning(kFormat, g_strerror(errno));
	return written;
}

std::string IioChannelName::path(const char *attribute) const
{
	return attribute_path(*this, "", attribute);
}

std::string IioChannelName::event_path(const char *attribute) const
{
	return attribute_path(*this, "events/", attribute);
}

bool IioThresholds::open(const IioChannelName &name)
{
	close();
	write_error_ = util::RateLimit();
	return open_file(&rising_value_,
			 name.event_path("thresh_rising_value")) &&
	       open_file(&falling_value_,
			 name.event_path("thresh_falling_value")) &&
	       open_flags(name);
}

bool IioThresholds::open_flags(const IioChannelName &name)
{
	const std::string rising = name.event_path("thresh_rising_en");
	if (access(rising.c_str(), F_OK) != 0)
		return open_file(&either_enable_,
				 name.event_path("thresh_either_en"));
	return open_file(&rising_enable_, rising) &&
	       open_file(&falling_enable_,
			 name.event_path("thresh_falling_en"));
}

void IioThresholds::close()
{
	for (util::UniqueFd *fd :
	     {&rising_value_, &falling_value_, &rising_enable_,
	      &falling_enable_, &either_enable_})
		fd->reset();
}

/// The kernel takes signed numbers.
bool IioThresholds::write_number(const util::UniqueFd &fd, guint32 number) const
{
	return iio_write_attribute(fd.get(),
				   std::to_string(static_cast<gint32>(number)),
				   &write_error_);
}

bool IioThresholds::write_flag(const util::UniqueFd &fd, bool on) const
{
	return iio_write_attribute(fd.get(), on ? "1" : "0", &write_error_);
}

bool IioThresholds::set_rising(guint32 value) const
{
	return write_number(rising_value_, value);
}

bool IioThresholds::set_falling(guint32 value) const
{
	return write_number(falling_value_, value);
}

bool IioThresholds::enable(bool on) const
{
	if (either_enable_.valid())
		return write_flag(either_enable_, on);
	const bool rising = write_flag(rising_enable_, on);
	return write_flag(falling_enable_, on) && rising;
}

bool IioThresholds::enable_rising() const
{
	return write_flag(rising_enable_, true);
}

bool IioThresholds::enable_falling() const
{
	return write_flag(falling_enable_, true);
}

guint32 iio_read_raw(const IioChannelName &name, util::RateLimit *limit)
{
	std::string text;
	if (!iio_read_sysfs(name.path("raw"), &text, limit))
		return 0;
	return static_cast<guint32>(g_ascii_strtoll(text.c_str(), nullptr, 0));
}
