#include "state.h"

#include "numbers.h"

namespace simboard
{

namespace
{

std::string driver_of(const Line &line)
{
	if (line.direction == Direction::OUT)
		return line.booted ? "boot" : "daemon";
	if (line.follows)
		return line.follows->title();
	return line.outside == line.idle ? "idle" : "board";
}

void add_note(std::string &notes, const std::string &note)
{
	notes += (notes.empty() ? "" : " ") + note;
}

template <typename Access, std::size_t Count>
std::string notes_of(bool present, const Faults<Access, Count> &faults)
{
	std::string notes;

	if (!present)
		add_note(notes, "unplugged");
	for (std::size_t i = 0; i < Count; ++i) {
		auto access = static_cast<Access>(i);
		if (faults.of(access) != 0)
			add_note(notes, fault_text(access, faults.of(access)));
	}
	return notes;
}

std::string field(const std::string &text)
{
	return "\t" + (text.empty() ? "-" : text);
}

const char *flag_text(bool flag)
{
	return flag ? "1" : "0";
}

std::string notes_of(const IioDevice &device)
{
	std::string notes = notes_of(device.plugged, device.faults);

	for (auto &[path, number] : device.file_faults)
		if (number != 0)
			add_note(notes, path + ":" + fault_word(number));
	return notes;
}

const char *enabled_text(const Thresholds &thresholds)
{
	bool rising = thresholds.enabled(Crossing::RISING);
	bool falling = thresholds.enabled(Crossing::FALLING);

	if (rising)
		return falling ? "both" : "rising";
	return falling ? "falling" : "";
}

/// Both thresholds, and which are enabled.
std::string threshold_fields(const Thresholds &thresholds)
{
	if (thresholds.kind() == ThresholdKind::NONE)
		return field("") + field("") + field("");
	return field(std::to_string(thresholds.value(Crossing::RISING))) +
	       field(std::to_string(thresholds.value(Crossing::FALLING))) +
	       field(enabled_text(thresholds));
}

} // namespace

std::string board_row(const std::string &name)
{
	return "board" + field(name);
}

std::string line_row(const Line &line)
{
	return "line" + field(std::to_string(line.number)) + field(line.name) +
	       field(line.chip->name) + field(word(line.wiring)) +
	       field(word(line.direction)) + field(word(line.level)) +
	       field(driver_of(line)) + field(line.folder) +
	       field(word(line.edge)) + field(line.active_low ? "1" : "0") +
	       field(notes_of(line.present(), line.faults));
}

std::string converter_row(const Converter &converter)
{
	return "converter" + field(converter.name) + field(converter.device) +
	       field(std::to_string(converter.settings.mode)) +
	       field(std::to_string(converter.settings.bits)) +
	       field(std::to_string(converter.settings.speed)) +
	       field(std::to_string(converter.users)) +
	       field(std::to_string(converter.messages)) +
	       field(std::to_string(converter.transfers)) +
	       field(address_text(converter.adc.selected())) +
	       field(notes_of(converter.plugged, converter.faults));
}

std::string loop_row(const Loop &loop)
{
	return "loop" + field(loop.name) + field(loop.converter_name()) +
	       field(address_text(loop.address)) + field(loop.state) +
	       field(std::to_string(loop.level())) +
	       field(std::to_string(loop.readings())) +
	       field(loop.line ? loop.line->title() : "") +
	       field(std::to_string(loop.full_scale()));
}

std::string iio_row(const IioDevice &device)
{
	return "iio" + field(device.description.name) +
	       field(device.description.iio_name) + field(device.file()) +
	       field(device.trigger ? one_word(device.trigger->name) : "") +
	       field(flag_text(device.running)) +
	       field(std::to_string(device.length)) +
	       field(std::to_string(device.buffer.count())) +
	       field(std::to_string(device.scans)) +
	       field(std::to_string(device.lost)) +
	       field(flag_text(device.open)) +
	       field(flag_text(device.listening)) + field(notes_of(device));
}

std::string channel_row(const IioChannel &channel)
{
	return "channel" + field(channel.title()) +
	       field(channel.stem.substr(0, channel.stem.size() - 1)) +
	       field(std::to_string(channel.value)) +
	       field(flag_text(channel.scanned)) +
	       threshold_fields(channel.thresholds) +
	       field(std::to_string(channel.events)) +
	       field(std::to_string(channel.readings)) + field(channel.loop);
}

std::string trigger_row(const IioTrigger &trigger)
{
	return "trigger" + field(one_word(trigger.name)) +
	       field("trigger" + std::to_string(trigger.number)) +
	       field(micro_text(trigger.frequency())) +
	       field(std::to_string(trigger.users()));
}

bool is_of_interest(const Line &line)
{
	return !line.name.empty() || line.exported() ||
	       line.direction == Direction::OUT || line.outside != line.idle ||
	       !notes_of(line.present(), line.faults).empty();
}

} // namespace simboard
