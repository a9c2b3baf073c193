#include "iio.h"

#include "numbers.h"

#include <linux/iio/events.h>

#include <bit>
#include <cerrno>

namespace simboard
{

namespace
{

/// What the kernel gives in one piece (KMALLOC_MAX_SIZE).
constexpr guint64 MOST_BYTES = 4 * 1024 * 1024;
constexpr gint64 MICROSECOND_NS = 1000;

constexpr Crossing CROSSINGS[] = {Crossing::RISING, Crossing::FALLING};

std::string flag_text(bool flag)
{
	return flag ? "1" : "0";
}

const char *crossing_word(Crossing crossing)
{
	return crossing == Crossing::RISING ? "rising" : "falling";
}

std::string event_record(guint64 id)
{
	iio_event_data event = {id, g_get_real_time() * MICROSECOND_NS};

	return {reinterpret_cast<const char *>(&event), sizeof(event)};
}

void tell(const std::function<void(IioDevice &)> &listener, IioDevice &device)
{
	if (listener)
		listener(device);
}

} // namespace

Iio::Iio(const BoardDescription &description, History &history)
	: history_(history), triggers_(history),
	  devices_(make_iio_devices(description))
{
}

Iio::~Iio()
{
	for (auto &[name, device] : devices_)
		if (device.trigger)
			device.trigger->detach(&device);
}

void Iio::power_on(IioListener listener)
{
	listener_ = std::move(listener);
	for (auto &[name, device] : devices_)
		tell(listener_.plugged, device);
}

IioDevice *Iio::find(const std::string &name)
{
	auto place = devices_.find(name);

	return place == devices_.end() ? nullptr : &place->second;
}

IioChannel *Iio::find_channel(const std::string &device, unsigned number)
{
	IioDevice *found = find(device);
	auto place = found ? found->channels.find(number)
			   : std::map<unsigned, IioChannel>::iterator();

	return found && place != found->channels.end() ? &place->second
						       : nullptr;
}

IioChannel *Iio::find_channel(const std::string &title)
{
	std::size_t slash = title.find('/');
	guint64 number = 0;

	if (slash == std::string::npos ||
	    !parse_unsigned(title.substr(slash + 1), 0, G_MAXUINT, number))
		return nullptr;
	return find_channel(title.substr(0, slash),
			    static_cast<unsigned>(number));
}

void Iio::record(const IioDevice &device, What what, const std::string &value,
		 Actor actor)
{
	history_.record(std::nullopt, device.description.name, what, value,
			actor);
}

// ---- the buffer ----

int Iio::set_scanned(IioChannel &channel, bool on, Actor actor)
{
	if (channel.device->running)
		return EBUSY;
	channel.scanned = on;
	record(*channel.device, What::SETTING,
	       "scan_elements/" + channel.stem + "en:" + flag_text(on), actor);
	return 0;
}

int Iio::set_length(IioDevice &device, unsigned length, Actor actor)
{
	if (length == device.length)
		return 0;
	if (device.running)
		return EBUSY;
	device.length = std::max(length, IIO_LEAST_LENGTH);
	record(device, What::SETTING,
	       "buffer/length:" + std::to_string(device.length), actor);
	return 0;
}

int Iio::set_trigger(IioDevice &device, const std::string &name, Actor actor)
{
	if (device.running)
		return EBUSY;
	device.trigger = triggers_.find(name);
	record(device, What::SETTING,
	       "trigger/current_trigger:" +
		       (device.trigger ? one_word(name) : "none"),
	       actor);
	return 0;
}

int Iio::start(IioDevice &device)
{
	std::size_t size = device.scan_size();
	guint64 most = std::bit_ceil(guint64{device.length});

	if (size == 0 || !device.trigger)
		return EINVAL;
	if (most * size > MOST_BYTES)
		return ENOMEM;
	device.buffer.reset(size, most);
	device.trigger->attach(&device, [this, &device](guint64 times) {
		take_scans(device, times);
	});
	return 0;
}

int Iio::set_running(IioDevice &device, bool on, Actor actor)
{
	if (on == device.running)
		return 0;
	int error = on ? start(device) : 0;
	if (error != 0)
		return error;
	if (!on)
		device.trigger->detach(&device);
	device.running = on;
	record(device, What::SETTING, "buffer/enable:" + flag_text(on), actor);
	tell(listener_.samples, device);
	return 0;
}

void Iio::take_scans(IioDevice &device, guint64 times)
{
	// What was missed in between does not fit anyway.
	for (guint64 i = 0; i < times; ++i) {
		++device.scans;
		if (!device.buffer.push(device.take_scan())) {
			device.scans += times - i - 1;
			device.lost += times - i;
			break;
		}
	}
	tell(listener_.samples, device);
}

// ---- events ----

void Iio::set_threshold(IioChannel &channel, Crossing crossing, int value,
			Actor actor)
{
	channel.thresholds.set_value(crossing, value);
	record(*channel.device, What::SETTING,
	       "events/" + channel.stem + "thresh_" + crossing_word(crossing) +
		       "_value:" + std::to_string(value),
	       actor);
}

void Iio::enable_event(IioChannel &channel, Crossing crossing, bool on,
		       Actor actor)
{
	bool either = channel.thresholds.kind() == ThresholdKind::EITHER;

	channel.thresholds.enable(crossing, on);
	record(*channel.device, What::SETTING,
	       "events/" + channel.stem + "thresh_" +
		       (either ? "either" : crossing_word(crossing)) +
		       "_en:" + flag_text(on),
	       actor);
}

void Iio::report_crossing(IioChannel &channel, Crossing crossing)
{
	IioDevice &device = *channel.device;

	++channel.events;
	record(device, What::EVENT,
	       std::to_string(channel.number) + ":" + crossing_word(crossing),
	       BOARD);
	if (!device.listening)
		return;
	device.events.push(event_record(
		event_id(channel.type, channel.number,
			 channel.thresholds.event_direction(crossing))));
	tell(listener_.events, device);
}

void Iio::set_attribute(IioDevice &device, const std::string &path,
			const Fixpoint &value, Actor actor)
{
	device.attributes[path] = value;
	record(device, What::SETTING, path + ":" + micro_text(value), actor);
}

gint64 Iio::read_value(IioChannel &channel)
{
	++channel.readings;
	return channel.value;
}

// ---- descriptors ----

int Iio::open_device(IioDevice &device)
{
	if (device.faults.of(IioAccess::OPEN) != 0)
		return device.faults.of(IioAccess::OPEN);
	if (device.open)
		return EBUSY;
	device.open = true;
	return 0;
}

void Iio::close_device(IioDevice &device)
{
	device.open = false;
}

int Iio::open_events(IioDevice &device)
{
	if (device.listening)
		return EBUSY;
	device.reset_events();
	device.listening = true;
	return 0;
}

void Iio::close_events(IioDevice &device)
{
	device.listening = false;
}

/// A fault takes a record, so that it comes as often as there is something new
/// for those who ask only then.
int Iio::read(IioDevice &device, RecordQueue &queue, IioAccess access,
	      std::size_t size, std::string &data)
{
	int fault = device.faults.of(access);

	if (queue.record_size() > size)
		return EINVAL;
	if (queue.record_size() != 0 && queue.count() == 0)
		return fault > 0 ? fault : NOTHING_YET;
	data = queue.take(fault == 0 ? size : queue.record_size());
	if (fault == SHORT_READ)
		data.resize(data.size() / 2);
	return fault > 0 ? fault : 0;
}

int Iio::read_samples(IioDevice &device, std::size_t size, std::string &data)
{
	if (!device.description.has_buffer)
		return EINVAL;
	return read(device, device.buffer, IioAccess::READ, size, data);
}

int Iio::read_events(IioDevice &device, std::size_t size, std::string &data)
{
	return read(device, device.events, IioAccess::EVENT, size, data);
}

// ---- the board ----

void Iio::set_value(IioChannel &channel, gint64 value)
{
	gint64 before = channel.value;
	std::string text = std::to_string(value);

	if (value == before)
		return;
	channel.value = value;
	if (channel.loop.empty())
		record(*channel.device, What::LEVEL,
		       std::to_string(channel.number) + ":" + text, BOARD);
	else
		history_.record(std::nullopt, channel.loop, What::LEVEL, text,
				BOARD);
	if (!channel.device->plugged)
		return;
	for (Crossing crossing : CROSSINGS)
		if (channel.thresholds.crossed(crossing, before, value))
			report_crossing(channel, crossing);
}

void Iio::set_fault(IioDevice &device, IioAccess access, int number)
{
	device.faults.set(access, number);
	record(device, What::FAULT, fault_text(access, number), BOARD);
	tell(listener_.samples, device);
	tell(listener_.events, device);
}

void Iio::set_file_fault(IioDevice &device, const std::string &path, int number)
{
	device.file_faults[path] = number;
	record(device, What::FAULT, path + ":" + fault_word(number), BOARD);
}

void Iio::set_plugged(IioDevice &device, bool plugged)
{
	if (device.plugged == plugged)
		return;
	device.plugged = plugged;
	if (device.trigger)
		device.trigger->detach(&device);
	device.reset();
	record(device, plugged ? What::PLUGGED : What::UNPLUGGED, "iio", BOARD);
	tell(plugged ? listener_.plugged : listener_.unplugged, device);
}

} // namespace simboard
