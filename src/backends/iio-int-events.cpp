#include "backends/iio-int-events.h"

#include "backends/data-watch.h"
#include "util/unique-fd.h"

#include <fcntl.h>
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
	DataWatch watch;
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

/// False when there is no event after all, and the next look is to be later.
bool handle_event(IntDevice *device)
{
	iio_event_data event = {};
	errno = ENODATA;
	const ssize_t length =
		read(device->event_fd.get(), &event, sizeof event);
	if (length == sizeof event) {
		const auto *listener = disarm(static_cast<guint32>(event.id));
		if (listener != nullptr)
			listener->on_event(listener->port);
		return true;
	}
	if (length < 0 && (errno == EAGAIN || errno == EINTR))
		return false;
	g_warning("read Error: %s", g_strerror(errno));
	device->is_broken = true;
	device->watch.stop();
	return false;
}

void watch(IntDevice *device)
{
	if (!device->is_broken && device->event_fd.valid())
		device->watch.start(device->event_fd.get(), device->path,
				    [device] { return handle_event(device); });
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
	device->watch.stop();
	device->is_broken = false;
}
