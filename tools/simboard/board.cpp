#include "board.h"

#include <cerrno>

namespace simboard
{

namespace
{

const char *direction_word(DirectionWord direction)
{
	switch (direction) {
	case DirectionWord::IN:
		return "in";
	case DirectionWord::OUT:
		return "out";
	case DirectionWord::HIGH:
		return "high";
	case DirectionWord::LOW:
		return "low";
	}
	return "?";
}

/// Whether poll has to report that the value became what it is.
bool is_watched(const Line &line)
{
	switch (line.edge) {
	case Edge::NONE:
		return false;
	case Edge::RISING:
		return line.value();
	case Edge::FALLING:
		return !line.value();
	case Edge::BOTH:
		return true;
	}
	return false;
}

template <typename T>
void tell(const std::function<void(T &)> &listener, T &subject)
{
	if (listener)
		listener(subject);
}

} // namespace

Board::Board(const BoardDescription &description) : description_(description)
{
	for (const ChipDescription &chip : description_.chips)
		add_chip(chip);
	for (const LineDescription &line : description_.lines)
		describe_line(line);
	for (const LineDescription &line : description_.lines) {
		if (line.follows.empty())
			continue;
		Line &follower = lines_.at(line.number);
		follower.follows = find_line(line.follows);
		follower.follows->followers.push_back(&follower);
		follower.outside = follower.level = follower.follows->level;
	}
}

void Board::add_chip(const ChipDescription &description)
{
	Chip &chip = chips_[description.name];

	chip.name = description.name;
	chip.base = description.base;
	chip.lines = description.lines;
	chip.label = description.label;
	for (unsigned i = 0; i < chip.lines; ++i) {
		Line &line = lines_[chip.base + i];
		line.number = chip.base + i;
		line.chip = &chip;
	}
}

void Board::describe_line(const LineDescription &description)
{
	Line &line = lines_.at(description.number);

	line.name = description.name;
	line.wiring = description.wiring;
	line.idle = line.outside = line.level = description.idle;
	line.direction = description.direction;
	line.booted = line.direction == Direction::OUT;
	if (line.booted)
		line.latch = line.idle;
	line.firmware_folder = description.folder;
}

void Board::power_on(BoardListener listener)
{
	listener_ = std::move(listener);
	for (auto &[name, chip] : chips_)
		tell(listener_.chip_plugged, chip);
	for (auto &[number, line] : lines_)
		firmware_export(line);
}

Line *Board::find_number(long number)
{
	if (number < 0 || number > G_MAXINT)
		return nullptr;
	auto place = lines_.find(static_cast<unsigned>(number));
	return place == lines_.end() ? nullptr : &place->second;
}

Line *Board::find_line(const std::string &text)
{
	guint64 number;

	if (g_ascii_string_to_unsigned(text.c_str(), 10, 0, G_MAXINT, &number,
				       nullptr))
		return find_number(static_cast<long>(number));
	for (auto &[key, line] : lines_)
		if (!text.empty() && line.name == text)
			return &line;
	return nullptr;
}

Chip *Board::find_chip(const std::string &name)
{
	auto place = chips_.find(name);

	return place == chips_.end() ? nullptr : &place->second;
}

void Board::record(const Line &line, What what, const std::string &value,
		   Actor actor)
{
	history_.record(line.number, line.name, what, value, actor);
}

/// Brings the line's level, and what follows from it, up to date.
void Board::settle(Line &line, Actor actor)
{
	Level level =
		line.direction == Direction::OUT ? line.latch : line.outside;

	if (level == line.level)
		return;
	line.level = level;
	record(line, What::LEVEL, word(level), actor);
	if (line.exported() && is_watched(line))
		tell(listener_.edge, line);
	for (Line *follower : line.followers) {
		follower->outside = level;
		settle(*follower, BOARD);
	}
}

void Board::start_export(Line &line, const std::string &folder, Actor actor)
{
	line.folder = folder;
	record(line, What::EXPORTED, folder, actor);
	tell(listener_.exported, line);
}

/// Direction and level stay, they are the chip's registers; the rest is the
/// kernel's record of the line, which starts afresh (gpiod_free_commit).
void Board::end_export(Line &line, Actor actor)
{
	if (!line.exported())
		return;
	record(line, What::UNEXPORTED, line.folder, actor);
	tell(listener_.unexported, line);
	line.folder.clear();
	line.exported_by_firmware = false;
	line.active_low = false;
	line.edge = Edge::NONE;
}

void Board::firmware_export(Line &line)
{
	if (line.firmware_folder.empty() || !line.present() || line.exported())
		return;
	line.exported_by_firmware = true;
	start_export(line, line.firmware_folder, BOARD);
}

int Board::export_line(long number, Actor actor)
{
	Line *line = find_number(number);

	if (!line || !line->present())
		return EINVAL;
	if (line->exported())
		return EBUSY;
	start_export(*line, "gpio" + std::to_string(line->number), actor);
	return 0;
}

int Board::unexport_line(long number, Actor actor)
{
	Line *line = find_number(number);

	// What a driver has exported can be taken back by that driver only
	// (unexport_store looks at FLAG_SYSFS).
	if (!line || !line->exported() || line->exported_by_firmware)
		return EINVAL;
	end_export(*line, actor);
	return 0;
}

void Board::set_direction(Line &line, DirectionWord direction, Actor actor)
{
	record(line, What::DIRECTION, direction_word(direction), actor);
	line.direction =
		direction == DirectionWord::IN ? Direction::IN : Direction::OUT;
	line.booted = false;
	if (line.direction == Direction::OUT)
		line.latch = direction == DirectionWord::HIGH ? Level::HIGH
							      : Level::LOW;
	settle(line, actor);
}

int Board::set_value(Line &line, bool value, Actor actor)
{
	if (line.direction != Direction::OUT)
		return EPERM;
	record(line, What::WRITE, value ? "1" : "0", actor);
	line.latch = value != line.active_low ? Level::HIGH : Level::LOW;
	line.booted = false;
	settle(line, actor);
	return 0;
}

int Board::set_edge(Line &line, Edge edge, Actor actor)
{
	// The interrupt that is set already is not asked for again; a new one
	// is given up before the next is asked for (edge_store).
	bool refused = edge != line.edge && edge != Edge::NONE &&
		       line.direction == Direction::OUT;

	line.edge = refused ? Edge::NONE : edge;
	if (refused)
		return EIO;
	record(line, What::EDGE, word(edge), actor);
	return 0;
}

void Board::set_active_low(Line &line, bool active_low, Actor actor)
{
	record(line, What::ACTIVE_LOW, active_low ? "1" : "0", actor);
	line.active_low = active_low;
}

void Board::drive(Line &line, Level level)
{
	line.outside = level;
	settle(line, BOARD);
}

void Board::set_fault(Line &line, Access access, int number)
{
	line.faults.set(access, number);
	record(line, What::FAULT, fault_text(access, number), BOARD);
}

void Board::set_plugged(Chip &chip, bool plugged)
{
	if (chip.plugged == plugged)
		return;
	chip.plugged = plugged;
	history_.record(chip.base, chip.name,
			plugged ? What::PLUGGED : What::UNPLUGGED, "chip",
			BOARD);
	tell(plugged ? listener_.chip_plugged : listener_.chip_unplugged, chip);
	for (unsigned i = 0; i < chip.lines; ++i) {
		Line &line = lines_.at(chip.base + i);
		if (plugged)
			firmware_export(line);
		else
			end_export(line, BOARD);
	}
}

void Board::set_plugged(Line &line, bool plugged)
{
	if (line.plugged == plugged)
		return;
	line.plugged = plugged;
	record(line, plugged ? What::PLUGGED : What::UNPLUGGED, "line", BOARD);
	if (plugged)
		firmware_export(line);
	else
		end_export(line, BOARD);
}

} // namespace simboard
