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
	return "loop" + field(loop.name) + field(loop.converter->name) +
	       field(address_text(loop.address)) + field(loop.state) +
	       field(std::to_string(loop.level())) +
	       field(std::to_string(
		       loop.converter->adc.readings(loop.address))) +
	       field(loop.line ? loop.line->title() : "");
}

bool is_of_interest(const Line &line)
{
	return !line.name.empty() || line.exported() ||
	       line.direction == Direction::OUT || line.outside != line.idle ||
	       !notes_of(line.present(), line.faults).empty();
}

} // namespace simboard
