#include "backends/iio-int-setup.h"

#include "backends/iio-sysfs.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace
{

bool refuse_name(const std::string &name)
{
	g_warning("'%s' cannot be part of a file's name", name.c_str());
	return false;
}

/// Names the channel's attribute files.
bool name_channel(IioIntPortData *data, int device)
{
	if (!data->channel_name)
		data->channel_name =
			"voltage" + std::to_string(static_cast<gint32>(
					    data->voltage_channel));
	for (const auto *name : {&data->channel_name, &data->chan_extend_name})
		if (*name && (*name)->find('/') != std::string::npos)
			return refuse_name(**name);
	data->channel = {device, *data->channel_name, data->chan_extend_name};
	return true;
}

/// Not closed by a handle: what the kernel has to say then is told.
bool write_setting(const std::string &path, const std::string &text,
		   const char *close_failure)
{
	const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
	if (fd < 0) {
		g_warning("Failed to open sysfs path '%s': %s", path.c_str(),
			  g_strerror(errno));
		return false;
	}
	const bool written = iio_write_attribute(fd, text);
	if (close(fd) != 0)
		g_warning("%s", close_failure);
	return written;
}

bool write_sampling_frequency(const IioIntPortData *data,
			      const std::string &folder)
{
	if (!data->shared_samplefreq)
		return true;
	std::string path = folder + "in_voltage_sampling_frequency";
	if (!g_file_test(path.c_str(), G_FILE_TEST_EXISTS))
		path = folder + "sampling_frequency";
	return write_setting(path, *data->shared_samplefreq,
			     "Couldn't close in_voltage_sampling_frequency");
}

bool write_period(const IioIntPortData *data, const std::string &folder)
{
	return !data->shared_thresh_either_period ||
	       write_setting(folder + "events/in_voltage_thresh_either_period",
			     *data->shared_thresh_either_period,
			     "Couldn't close in_voltage_thresh_either_period");
}

/// The kernel takes seconds.
bool write_integration_time(const IioIntPortData *data,
			    const std::string &folder)
{
	constexpr double kMicrosecondsPerSecond = 1e6;
	constexpr size_t kTextSize = 15;
	const auto time = static_cast<gint32>(data->integration_time);
	if (time <= 0)
		return true;
	std::array<char, kTextSize> text;
	g_ascii_formatd(text.data(), text.size(), "%f",
			time / kMicrosecondsPerSecond);
	return write_setting(folder + "in_proximity_integration_time",
			     text.data(),
			     "Couldn't close in_proximity_integration_time");
}

/// Thresholds that nothing crosses, and no events, until the port is watched.
bool reset_thresholds(const IioThresholds &thresholds)
{
	return thresholds.set_falling(0) && thresholds.set_rising(1) &&
	       thresholds.enable(false);
}

bool prepare(IioIntPortData *data, int device)
{
	const std::string folder = std::string(kIioDevices) + kIioDevicePrefix +
				   std::to_string(device) + "/";
	data->listener.dev_path = std::string("/dev/") + kIioDevicePrefix +
				  std::to_string(device);
	return name_channel(data, device) &&
	       iio_int_open_device(data->listener.dev_path) &&
	       data->listener.thresholds.open(data->channel) &&
	       write_sampling_frequency(data, folder) &&
	       write_period(data, folder) &&
	       write_integration_time(data, folder) &&
	       reset_thresholds(data->listener.thresholds);
}

} // namespace

bool iio_int_set_up_device(IioIntPortData *data)
{
	const int device =
		iio_get_device_number(data->driver.value_or("").c_str());
	if (device == -1) {
		g_warning("Failed to find device name");
		g_warning("Failed to setup sysfs");
		return false;
	}
	if (prepare(data, device))
		return true;
	g_warning("Failed to setup iio device.");
	return false;
}
