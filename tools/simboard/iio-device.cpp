#include "iio-device.h"

#include "iio-types.h"

#include <linux/iio/events.h>

namespace simboard
{

namespace
{

constexpr std::size_t MOST_EVENTS = 16;

std::string stem_of(const IioChannelDescription &channel)
{
	std::string stem = "in_" + channel.attribute + "_";

	if (!channel.extension.empty())
		stem += channel.extension + "_";
	return stem;
}

IioChannel make_channel(const IioChannelDescription &description,
			IioDevice &device)
{
	IioChannel channel;

	channel.device = &device;
	channel.number = description.number;
	channel.type = channel_type(description.attribute).value_or(0);
	channel.stem = stem_of(description);
	channel.value = description.value;
	return channel;
}

} // namespace

std::string IioChannel::title() const
{
	return device->description.name + "/" + std::to_string(number);
}

std::string IioDevice::file() const
{
	return "iio:device" + std::to_string(number);
}

int IioDevice::attribute_fault(const std::string &path, bool writes) const
{
	auto own = file_faults.find(path);

	if (own != file_faults.end() && own->second != 0)
		return own->second;
	if (writes && faults.of(IioAccess::WRITE) != 0)
		return faults.of(IioAccess::WRITE);
	return faults.of(IioAccess::ATTRIBUTE);
}

void IioDevice::reset()
{
	trigger = nullptr;
	length = IIO_LEAST_LENGTH;
	running = open = listening = false;
	buffer.reset(0, 0);
	reset_events();
	attributes.clear();
	for (const std::string &path : description.attributes)
		attributes[path] = {};
	for (auto &[key, channel] : channels) {
		channel.scanned = false;
		channel.thresholds = Thresholds(description.thresholds);
	}
}

void IioDevice::reset_events()
{
	events.reset(sizeof(iio_event_data), MOST_EVENTS);
}

std::string IioDevice::take_scan()
{
	std::string scan;

	for (auto &[key, channel] : channels) {
		if (!channel.scanned)
			continue;
		++channel.readings;
		scan += encode_sample(description.scan, channel.value);
	}
	return scan;
}

std::size_t IioDevice::scan_size() const
{
	std::size_t size = 0;

	for (auto &[key, channel] : channels)
		if (channel.scanned)
			size += description.scan.size();
	return size;
}

std::map<std::string, IioDevice> make_iio_devices(const BoardDescription &board)
{
	std::map<std::string, IioDevice> devices;

	for (const IioDescription &description : board.iio) {
		auto number = static_cast<unsigned>(devices.size());
		IioDevice &device = devices[description.name];
		device.description = description;
		device.number = number;
	}
	for (const IioChannelDescription &description : board.channels) {
		IioDevice &device = devices.at(description.device);
		device.channels[description.number] =
			make_channel(description, device);
	}
	for (const LoopDescription &loop : board.loops) {
		auto device = devices.find(loop.converter);
		if (device != devices.end())
			device->second.channels.at(loop.address).loop =
				loop.name;
	}
	for (auto &[name, device] : devices)
		device.reset();
	return devices;
}

} // namespace simboard
