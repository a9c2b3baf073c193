#include "backends/iio-int-events.h"

#include "util/scoped-source.h"
#include "util/unique-fd.h"

#include <fcntl.h>
#include <glib-unix.h>
#include <linux/iio/events.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <list>
#include <vector>

namespace
{

/// A converter that ports share. The watch goes before its descriptor.
struct IntDevice {
	std::string path;
	util::UniqueFd event_fd;
	util::ScopedSource watch_id;
	/// An event could not be read.
	bool is_broken = false;
	/// How many listeners count on the watch.
	unsigned users = 0;
};

std::list<IntDevice> devices;
std::vector<IioIntListener *> listeners;

IntDevice *find_device(const std::string &path)
{
	const auto found = std::ranges::find(devices, path, &IntDevice::path);
	return found != devices.end() ? &*found : nullptr;
}

/// The listener that an event of that channel is for; none.
IioIntListener *disarm(guint32 channel)
{
	IioIntListener *last = nullptr;
	for (IioIntListener *listener : listeners) {
		if (listener->voltage_channel != channel)
			continue;
		listener->thresholds.enable(false);
		last = listener;
	}
	return last;
}

gboolean give_up(IntDevice *device)
{
	device->watch_id.release();
	device->is_broken = true;
	return G_SOURCE_REMOVE;
}

gboolean on_event(int fd, GIOCondition condition, gpointer user_data)
{
	auto *device = static_cast<IntDevice *>(user_data);
	if ((condition & G_IO_IN) == 0) {
		g_warning("%s signals no more events", device->path.c_str());
		return give_up(device);
	}
	iio_event_data event = {};
	errno = 0;
	if (read(fd, &event, sizeof event) != sizeof event) {
		g_warning("read Error: %s", g_strerror(errno));
		return give_up(device);
	}
	const auto *listener = disarm(static_cast<guint32>(event.id));
	if (listener != nullptr)
		listener->on_event(listener->port);
	return G_SOURCE_CONTINUE;
}

void watch(IntDevice *device)
{
	if (device->watch_id.id() == 0 && !device->is_broken &&
	    device->event_fd.valid())
		device->watch_id.reset(g_unix_fd_add(
			device->event_fd.get(), G_IO_IN, on_event, device));
}

/// Asks the device file for the descriptor that events are read from.
bool open_events(IntDevice *device)
{
	const char *path = device->path.c_str();
	const int fd = open(path, O_RDONLY | O_CLOEXEC);
	if (fd < 0) {
		g_warning("Failed to open device: %s", g_strerror(errno));
		return false;
	}
	int event_fd = -1;
	if (ioctl(fd, IIO_GET_EVENT_FD_IOCTL, &event_fd) == -1 ||
	    event_fd == -1)
		g_warning("Failed to open device %s: %s", path,
			  g_strerror(errno));
	else
		device->event_fd.reset(event_fd);
	if (close(fd) == -1)
		g_warning("Couldn't close char device");
	return device->event_fd.valid();
}

/// An event that is announced and not there must not hold the daemon up.
void make_non_blocking(int fd)
{
	fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

} // namespace

bool iio_int_open_device(const std::string &dev_path)
{
	IntDevice *device = find_device(dev_path);
	if (device == nullptr)
		device = &devices.emplace_back();
	if (device->event_fd.valid())
		return true;
	device->path = dev_path;
	if (!open_events(device)) {
		g_warning("Failed to open backend->device");
		return false;
	}
	make_non_blocking(device->event_fd.get());
	device->users = static_cast<unsigned>(std::ranges::count(
		listeners, dev_path, &IioIntListener::dev_path));
	if (device->users > 0)
		watch(device);
	return true;
}

void iio_int_close_device(const std::string &dev_path)
{
	devices.remove_if([&](const IntDevice &device) {
		return device.path == dev_path;
	});
}

void iio_int_add_listener(IioIntListener *listener)
{
	if (std::ranges::find(listeners, listener) != listeners.end())
		return;
	listeners.push_back(listener);
	if (IntDevice *device = find_device(listener->dev_path)) {
		++device->users;
		watch(device);
	}
}

void iio_int_remove_listener(IioIntListener *listener)
{
	if (std::erase(listeners, listener) == 0)
		return;
	IntDevice *device = find_device(listener->dev_path);
	if (device == nullptr || device->users == 0 || --device->users > 0)
		return;
	device->watch_id.reset();
	device->is_broken = false;
}
