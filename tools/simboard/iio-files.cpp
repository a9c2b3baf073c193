#include "iio-files.h"

#include "event-file.h"
#include "iio-attributes.h"
#include "udev-rule.h"

#include <cerrno>

namespace simboard
{

IioFiles::IioFiles(Iio &iio, const BoardDescription &board, IioFolders folders)
	: iio_(iio), board_(board), folders_(std::move(folders))
{
	IioListener listener;

	listener.plugged = [this](IioDevice &device) { add(device); };
	listener.unplugged = [this](IioDevice &device) { remove(device); };
	listener.samples = [this](IioDevice &device) {
		files_.at(&device).buffer->wake();
	};
	listener.events = [this](IioDevice &device) {
		if (auto &file = files_.at(&device).events)
			file->wake();
	};
	iio_.power_on(std::move(listener));
}

void IioFiles::add(IioDevice &device)
{
	Files &files = files_[&device];
	std::string name = device.file();

	folders_.devices->add(name, make_iio_folder(iio_, device, board_));
	files.buffer = folders_.files->add(
		name, std::make_shared<StreamFile>(buffer_stream(device)));
	apply_udev_rule(*files.buffer, board_);
	if (device.description.thresholds == ThresholdKind::NONE)
		return;
	files.events = folders_.events->add(
		name, std::make_shared<StreamFile>(event_stream(device)));
	apply_udev_rule(*files.events, board_);
}

void IioFiles::remove(IioDevice &device)
{
	for (auto &folder : {folders_.devices, folders_.files, folders_.events})
		folder->drop(device.file());
}

StreamFile::Stream IioFiles::buffer_stream(IioDevice &device)
{
	StreamFile::Stream stream;

	stream.open = [this, &device] { return iio_.open_device(device); };
	stream.close = [this, &device] { iio_.close_device(device); };
	stream.read = [this, &device](std::size_t size, std::string &data) {
		return iio_.read_samples(device, size, data);
	};
	stream.has_data = [&device] { return device.buffer.count() != 0; };
	stream.ioctl = [this, &device](const IoctlCall &call,
				       std::string &answer) {
		return answer_path(device, call, answer);
	};
	return stream;
}

StreamFile::Stream IioFiles::event_stream(IioDevice &device)
{
	StreamFile::Stream stream;

	stream.open = [this, &device] { return iio_.open_events(device); };
	stream.close = [this, &device] { iio_.close_events(device); };
	stream.read = [this, &device](std::size_t size, std::string &data) {
		return iio_.read_events(device, size, data);
	};
	stream.has_data = [&device] { return device.events.count() != 0; };
	return stream;
}

/// Everything but what only we know is the kernel's to refuse.
int IioFiles::answer_path(IioDevice &device, const IoctlCall &call,
			  std::string &answer)
{
	std::string path = folders_.events_path + "/" + device.file();

	if (call.command != EVENT_FILE_IOCTL)
		return ENOTTY;
	if (device.faults.of(IioAccess::IOCTL) != 0)
		return device.faults.of(IioAccess::IOCTL);
	if (device.description.thresholds == ThresholdKind::NONE)
		return ENODEV;
	if (path.size() >= sizeof(EventFilePath))
		return ENAMETOOLONG;
	answer = path;
	answer.resize(sizeof(EventFilePath));
	return 0;
}

} // namespace simboard
