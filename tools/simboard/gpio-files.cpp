#include "gpio-files.h"

#include "udev-rule.h"

#include <cerrno>

namespace simboard
{

namespace
{

// The permissions that the kernel gives, before udev.
constexpr mode_t CONTROL_MODE = 0200;
constexpr mode_t LINE_MODE = 0644;
constexpr mode_t CHIP_MODE = 0444;

std::string chip_folder(const Chip &chip)
{
	return "gpiochip" + std::to_string(chip.base);
}

AttributePtr make_constant(const std::string &text)
{
	return std::make_shared<Attribute>(
		CHIP_MODE,
		[text](std::string &shown) {
			shown = text + "\n";
			return 0;
		},
		nullptr);
}

/// Puts the fault that is set for an access before what the file does.
Attribute::Show failing(const Line &line, Attribute::Show show)
{
	return [&line, show](std::string &text) {
		int fault = line.fault(Access::READ);
		return fault != 0 ? fault : show(text);
	};
}

Attribute::Store failing(const Line &line, Attribute::Store store)
{
	return [&line, store](std::string_view text, pid_t process) {
		int fault = line.fault(Access::WRITE);
		return fault != 0 ? fault : store(text, process);
	};
}

/// Shows a word or number that get makes of the line.
template <typename Get> Attribute::Show show_line(const Line &line, Get get)
{
	return [&line, get](std::string &text) {
		text = std::string(get(line)) + "\n";
		return 0;
	};
}

const char *digit(bool value)
{
	return value ? "1" : "0";
}

int store_direction(Board &board, Line &line, std::string_view text,
		    pid_t process)
{
	static const std::map<std::string_view, DirectionWord> WORDS = {
		{"in", DirectionWord::IN},
		{"out", DirectionWord::OUT},
		{"high", DirectionWord::HIGH},
		{"low", DirectionWord::LOW},
	};
	auto place = WORDS.find(trim_line(text));

	if (place == WORDS.end())
		return EINVAL;
	board.set_direction(line, place->second, process);
	return 0;
}

int store_value(Board &board, Line &line, std::string_view text, pid_t process)
{
	long number = 0;
	int error = parse_number(text, number);

	// That it is an input is said before that the number is none.
	if (error != 0 && line.direction == Direction::OUT)
		return error;
	return board.set_value(line, number != 0, process);
}

int store_edge(Board &board, Line &line, std::string_view text, pid_t process)
{
	auto edge = edge_from_word(trim_line(text));

	return edge ? board.set_edge(line, *edge, process) : EINVAL;
}

int store_active_low(Board &board, Line &line, std::string_view text,
		     pid_t process)
{
	long number = 0;
	int error = parse_number(text, number);

	if (error == 0)
		board.set_active_low(line, number != 0, process);
	return error;
}

using StoreLine = int (*)(Board &, Line &, std::string_view, pid_t);

Attribute::Store store_line(Board &board, Line &line, StoreLine store)
{
	return [&board, &line, store](std::string_view text, pid_t process) {
		return store(board, line, text, process);
	};
}

} // namespace

GpioFiles::GpioFiles(Board &board, const std::shared_ptr<Folder> &folder)
	: board_(board), folder_(folder)
{
	BoardListener listener;

	apply_udev_rule(*folder_, board_.description());
	add_control("export", &Board::export_line);
	add_control("unexport", &Board::unexport_line);
	listener.exported = [this](Line &line) { add_line(line); };
	listener.unexported = [this](Line &line) { remove_line(line); };
	listener.edge = [this](Line &line) { notify(line); };
	listener.chip_plugged = [this](Chip &chip) { add_chip(chip); };
	listener.chip_unplugged = [this](Chip &chip) {
		folder_->drop(chip_folder(chip));
	};
	board_.power_on(std::move(listener));
}

void GpioFiles::add_control(const std::string &name,
			    int (Board::*change)(long number, Actor actor))
{
	auto store = [this, change](std::string_view text, pid_t process) {
		long number = 0;
		int error = parse_number(text, number);
		if (error != 0)
			return error;
		Line *line = board_.find_line(std::to_string(number));
		int fault = line ? line->fault(Access::EXPORT) : 0;
		return fault != 0 ? fault : (board_.*change)(number, process);
	};

	apply_udev_rule(
		*folder_->add(name, std::make_shared<Attribute>(
					    CONTROL_MODE, nullptr, store)),
		board_.description());
}

void GpioFiles::add_chip(const Chip &chip)
{
	auto folder =
		folder_->add(chip_folder(chip), std::make_shared<Folder>());

	folder->add("base", make_constant(std::to_string(chip.base)));
	folder->add("ngpio", make_constant(std::to_string(chip.lines)));
	folder->add("label", make_constant(chip.label));
}

void GpioFiles::add_line(Line &line)
{
	exported_[&line].folder =
		folder_->add(line.folder, std::make_shared<Folder>());
	run_later(line, board_.description().attribute_delay_ms,
		  &GpioFiles::fill_line);
}

void GpioFiles::remove_line(Line &line)
{
	exported_.erase(&line);
	folder_->drop(line.folder);
}

void GpioFiles::add_file(Line &line, const std::string &name,
			 Attribute::Show show, Attribute::Store store)
{
	exported_.at(&line).folder->add(
		name, std::make_shared<Attribute>(
			      LINE_MODE, failing(line, std::move(show)),
			      failing(line, std::move(store))));
}

void GpioFiles::fill_line(Line &line)
{
	Exported &exported = exported_.at(&line);

	add_file(line, "direction",
		 show_line(line, [](auto &l) { return word(l.direction); }),
		 store_line(board_, line, store_direction));
	add_file(line, "value",
		 show_line(line, [](auto &l) { return digit(l.value()); }),
		 store_line(board_, line, store_value));
	add_file(line, "edge",
		 show_line(line, [](auto &l) { return word(l.edge); }),
		 store_line(board_, line, store_edge));
	add_file(line, "active_low",
		 show_line(line, [](auto &l) { return digit(l.active_low); }),
		 store_line(board_, line, store_active_low));
	exported.value = std::static_pointer_cast<Attribute>(
		exported.folder->find("value"));
	run_later(line, board_.description().group_delay_ms,
		  &GpioFiles::give_to_group);
}

void GpioFiles::give_to_group(Line &line)
{
	const std::shared_ptr<Folder> &folder = exported_.at(&line).folder;

	apply_udev_rule(*folder, board_.description());
	for (auto &[name, node] : folder->children())
		apply_udev_rule(*node, board_.description());
}

/// At once when there is no delay.
void GpioFiles::run_later(Line &line, unsigned delay_ms,
			  void (GpioFiles::*run)(Line &line))
{
	if (delay_ms == 0) {
		(this->*run)(line);
		return;
	}
	auto due = [](gpointer data) -> gboolean {
		Step step = *static_cast<Step *>(data);
		step.files->exported_.at(step.line).delay.release();
		(step.files->*step.run)(*step.line);
		return G_SOURCE_REMOVE;
	};
	exported_.at(&line).delay.reset(g_timeout_add_full(
		G_PRIORITY_DEFAULT, delay_ms, due, new Step{this, &line, run},
		[](gpointer data) { delete static_cast<Step *>(data); }));
}

void GpioFiles::notify(Line &line)
{
	auto place = exported_.find(&line);

	if (place != exported_.end() && place->second.value)
		place->second.value->notify();
}

} // namespace simboard
