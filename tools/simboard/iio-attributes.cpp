#include "iio-attributes.h"

#include "attribute.h"
#include "udev-rule.h"

#include <cerrno>

namespace simboard
{

namespace
{

constexpr const char *CURRENT_TRIGGER = "trigger/current_trigger";

/// Fills a device's folder.
class Maker
{
public:
	Maker(Iio &iio, IioDevice &device, const BoardDescription &board)
		: iio_(iio), device_(device), board_(board)
	{
	}

	std::shared_ptr<Folder> make();

private:
	using Text = std::function<std::string()>;
	using Store = Attribute::Store;

	void add(const std::string &path, Text text, Store store);
	void add_constant(const std::string &path, const std::string &text);
	void add_flag(const std::string &path, std::function<bool()> get,
		      std::function<int(bool on, Actor actor)> set);
	void add_number(const std::string &path);
	void add_channel(IioChannel &channel);
	void add_scan_element(IioChannel &channel, unsigned index);
	void add_thresholds(IioChannel &channel);
	void add_threshold(IioChannel &channel, Crossing crossing,
			   const std::string &stem);
	void add_event_flag(IioChannel &channel, Crossing crossing,
			    const std::string &path);
	void add_buffer();
	void add_length();
	void add_trigger();

	Iio &iio_;
	IioDevice &device_;
	const BoardDescription &board_;
	std::shared_ptr<Folder> folder_ = std::make_shared<Folder>();
};

/// @param path in the device's folder.
/// @param text what it shows, without a line break.
/// @param store may be empty: then nobody can write it.
void Maker::add(const std::string &path, Text text, Store store)
{
	IioDevice *device = &device_;
	device->file_faults.try_emplace(path, 0);
	std::size_t slash = path.rfind('/');
	auto folder = folder_;

	if (slash != std::string::npos)
		folder = make_folders(folder_, path.substr(0, slash));
	auto show = [device, path, text](std::string &shown) {
		int fault = device->attribute_fault(path, false);
		if (fault == 0)
			shown = text() + "\n";
		return fault;
	};
	Store guarded = [device, path, store](std::string_view written,
					      pid_t process) {
		int fault = device->attribute_fault(path, true);
		return fault != 0 ? fault : store(written, process);
	};
	auto file = std::make_shared<Attribute>(
		store ? READ_WRITE : READ_ONLY, show,
		store ? guarded : Attribute::Store());
	apply_udev_rule(*folder->add(path.substr(slash + 1), file), board_);
}

void Maker::add_constant(const std::string &path, const std::string &text)
{
	add(
		path, [text] { return text; }, nullptr);
}

void Maker::add_flag(const std::string &path, std::function<bool()> get,
		     std::function<int(bool on, Actor actor)> set)
{
	auto store = [set](std::string_view text, pid_t process) {
		bool on = false;
		int error = parse_flag(text, on);
		return error != 0 ? error : set(on, process);
	};

	add(
		path, [get] { return get() ? "1" : "0"; }, store);
}

/// One of the device's own.
void Maker::add_number(const std::string &path)
{
	Iio &iio = iio_;
	IioDevice &device = device_;
	auto store = [&iio, &device, path](std::string_view text,
					   pid_t process) {
		constexpr int MILLIONTHS = 100000;
		Fixpoint number;
		int error = parse_fixpoint(text, MILLIONTHS, number);
		if (error == 0)
			iio.set_attribute(device, path, number, process);
		return error;
	};

	add(
		path,
		[&device, path] {
			return micro_text(device.attributes.at(path));
		},
		store);
}

void Maker::add_scan_element(IioChannel &channel, unsigned index)
{
	Iio &iio = iio_;
	std::string stem = "scan_elements/" + channel.stem;

	add_flag(
		stem + "en", [&channel] { return channel.scanned; },
		[&iio, &channel](bool on, Actor actor) {
			return iio.set_scanned(channel, on, actor);
		});
	add_constant(stem + "index", std::to_string(index));
	add_constant(stem + "type", device_.description.type);
}

void Maker::add_threshold(IioChannel &channel, Crossing crossing,
			  const std::string &stem)
{
	Iio &iio = iio_;
	auto store = [&iio, &channel, crossing](std::string_view text,
						pid_t process) {
		constexpr int MILLIONTHS = 100000;
		Fixpoint number;
		int error = parse_fixpoint(text, MILLIONTHS, number);
		if (error == 0)
			iio.set_threshold(channel, crossing, number.integer,
					  process);
		return error;
	};

	add(
		stem + "value",
		[&channel, crossing] {
			return std::to_string(
				channel.thresholds.value(crossing));
		},
		store);
	if (device_.description.thresholds != ThresholdKind::EITHER)
		add_event_flag(channel, crossing, stem + "en");
}

void Maker::add_event_flag(IioChannel &channel, Crossing crossing,
			   const std::string &path)
{
	Iio &iio = iio_;

	add_flag(
		path,
		[&channel, crossing] {
			return channel.thresholds.enabled(crossing);
		},
		[&iio, &channel, crossing](bool on, Actor actor) {
			iio.enable_event(channel, crossing, on, actor);
			return 0;
		});
}

void Maker::add_thresholds(IioChannel &channel)
{
	std::string stem = "events/" + channel.stem + "thresh_";

	if (device_.description.thresholds == ThresholdKind::NONE)
		return;
	add_threshold(channel, Crossing::RISING, stem + "rising_");
	add_threshold(channel, Crossing::FALLING, stem + "falling_");
	if (device_.description.thresholds == ThresholdKind::EITHER)
		add_event_flag(channel, Crossing::RISING, stem + "either_en");
}

void Maker::add_channel(IioChannel &channel)
{
	Iio &iio = iio_;
	auto refuse = [](std::string_view, pid_t) { return EINVAL; };

	add(
		channel.stem + "raw",
		[&iio, &channel] {
			return std::to_string(iio.read_value(channel));
		},
		refuse);
	add_thresholds(channel);
}

void Maker::add_length()
{
	Iio &iio = iio_;
	IioDevice &device = device_;
	auto store = [&iio, &device](std::string_view text, pid_t process) {
		unsigned length = 0;
		int error = parse_decimal(text, length);
		return error != 0 ? error
				  : iio.set_length(device, length, process);
	};

	add(
		"buffer/length",
		[&device] { return std::to_string(device.length); }, store);
}

void Maker::add_buffer()
{
	Iio &iio = iio_;
	IioDevice &device = device_;
	unsigned index = 0;

	for (auto &[number, channel] : device_.channels)
		add_scan_element(channel, index++);
	add_flag(
		"buffer/enable", [&device] { return device.running; },
		[&iio, &device](bool on, Actor actor) {
			return iio.set_running(device, on, actor);
		});
	add_length();
	add_trigger();
}

void Maker::add_trigger()
{
	Iio &iio = iio_;
	IioDevice &device = device_;
	device.file_faults.try_emplace(CURRENT_TRIGGER, 0);
	auto show = [&device](std::string &text) {
		int fault = device.attribute_fault(CURRENT_TRIGGER, false);
		// Without a trigger there is not even an empty line.
		if (fault == 0 && device.trigger)
			text = device.trigger->name + "\n";
		return fault;
	};
	auto store = [&iio, &device](std::string_view text, pid_t process) {
		int fault = device.attribute_fault(CURRENT_TRIGGER, true);
		return fault != 0
			       ? fault
			       : iio.set_trigger(device,
						 std::string(trim_line(text)),
						 process);
	};

	apply_udev_rule(*make_folders(folder_, "trigger")
				 ->add("current_trigger",
				       std::make_shared<Attribute>(
					       READ_WRITE, show, store)),
			board_);
}

std::shared_ptr<Folder> Maker::make()
{
	add_constant("name", device_.description.iio_name);
	for (auto &[number, channel] : device_.channels)
		add_channel(channel);
	for (const std::string &path : device_.description.attributes)
		add_number(path);
	if (device_.description.has_buffer)
		add_buffer();
	return folder_;
}

} // namespace

std::shared_ptr<Folder> make_iio_folder(Iio &iio, IioDevice &device,
					const BoardDescription &board)
{
	return Maker(iio, device, board).make();
}

} // namespace simboard
