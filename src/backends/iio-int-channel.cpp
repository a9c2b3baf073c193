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

bool write_text(const util::UniqueFd &fd, const std::string &text)
{
	if (write(fd.get(), text.data(), text.size()) ==
	    static_cast<ssize_t>(text.size()))
		return true;
	g_warning("Failed to write sysfs: %s", g_strerror(errno));
	return false;
}

/// The kernel takes signed numbers.
bool write_number(const util::UniqueFd &fd, guint32 number)
{
	return write_text(fd, std::to_string(static_cast<gint32>(number)));
}

bool write_flag(const util::UniqueFd &fd, bool on)
{
	return write_text(fd, on ? "1" : "0");
}

} // namespace

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

guint32 iio_read_raw(const IioChannelName &name)
{
	std::string text;
	if (!iio_read_sysfs(name.path("raw"), &text))
		return 0;
	return static_cast<guint32>(g_ascii_strtoll(text.c_str(), nullptr, 0));
}
