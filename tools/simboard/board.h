#pragma once

/// The model of the board: lines, what is wired to them, and what a kernel
/// lets a user do with them. Knows no files. Belongs to the main loop's thread.
///
/// The rules are those of Linux 6.1, drivers/gpio/gpiolib-sysfs.c and
/// gpiolib.c; errors are errno numbers, 0 is success.

#include "board-file.h"
#include "faults.h"
#include "history.h"

#include <map>

namespace simboard
{

struct Line;

struct Chip {
	std::string name;
	unsigned base = 0;
	unsigned lines = 0;
	std::string label;
	bool plugged = true; ///< Bound to its driver.
};

/// A line, for reading; Board changes it.
struct Line {
	unsigned number = 0;
	std::string name; ///< Empty: the board file does not mention it.
	Chip *chip = nullptr;
	Wiring wiring = Wiring::WIRE;
	Level idle = Level::LOW;
	Line *follows = nullptr;
	std::vector<Line *> followers;
	std::string firmware_folder;
	bool plugged = true;

	Direction direction = Direction::IN;
	Level latch = Level::LOW;   ///< What the chip drives as an output.
	Level outside = Level::LOW; ///< What the wiring drives.
	Level level = Level::LOW;   ///< What is on the line.
	bool booted = false; ///< An output that nobody but firmware has set.

	std::string folder; ///< Empty: not exported.
	bool exported_by_firmware = false;
	bool active_low = false;
	Edge edge = Edge::NONE;
	Faults<Access, ACCESS_COUNT> faults;

	bool exported() const
	{
		return !folder.empty();
	}
	/// Whether there is a driver that serves it.
	bool present() const
	{
		return plugged && chip->plugged;
	}
	/// The level as value shows it.
	bool value() const
	{
		return (level == Level::HIGH) != active_low;
	}
	int fault(Access access) const
	{
		return faults.of(access);
	}
	/// Number, for one without a name; for messages.
	std::string title() const
	{
		return name.empty() ? std::to_string(number) : name;
	}
};

/// Whom the model tells what the files must show. Each may be unset.
struct BoardListener {
	std::function<void(Line &)> exported;
	std::function<void(Line &)> unexported; ///< Its folder is still set.
	std::function<void(Line &)>
		edge; ///< One that the line's edge asks for.
	std::function<void(Chip &)> chip_plugged;
	std::function<void(Chip &)> chip_unplugged;
};

/// What can be written to direction. OUT and LOW differ in the word only.
enum class DirectionWord { IN, OUT, HIGH, LOW };

class Board
{
public:
	explicit Board(const BoardDescription &description);
	Board(const Board &) = delete;
	Board &operator=(const Board &) = delete;

	/// Tells the listener of every chip, then makes firmware's exports.
	void power_on(BoardListener listener);

	const BoardDescription &description() const
	{
		return description_;
	}
	History &history()
	{
		return history_;
	}
	std::map<unsigned, Line> &lines()
	{
		return lines_;
	}
	/// By number or name; null when there is none.
	Line *find_line(const std::string &text);
	Chip *find_chip(const std::string &name);

	/// What a user of the kernel's files does. EINVAL: no such line, or one
	/// that was not exported by a user; EBUSY: exported.
	int export_line(long number, Actor actor);
	int unexport_line(long number, Actor actor);
	void set_direction(Line &line, DirectionWord direction, Actor actor);
	/// EPERM: the line is an input.
	int set_value(Line &line, bool value, Actor actor);
	/// EIO: the line is an output.
	int set_edge(Line &line, Edge edge, Actor actor);
	void set_active_low(Line &line, bool active_low, Actor actor);

	/// What happens around the chip. The level that the wiring drives shows
	/// on the line while the line is an input. Not for one that follows.
	void drive(Line &line, Level level);
	/// @param number an errno, or 0 to make the access work again.
	void set_fault(Line &line, Access access, int number);
	/// Takes a chip or line from its driver, or gives it back; nothing when
	/// it is so already.
	void set_plugged(Chip &chip, bool plugged);
	void set_plugged(Line &line, bool plugged);

private:
	void add_chip(const ChipDescription &description);
	void describe_line(const LineDescription &description);
	Line *find_number(long number);
	void record(const Line &line, What what, const std::string &value,
		    Actor actor);
	void settle(Line &line, Actor actor);
	void start_export(Line &line, const std::string &folder, Actor actor);
	void end_export(Line &line, Actor actor);
	void firmware_export(Line &line);

	BoardDescription description_;
	BoardListener listener_;
	History history_;
	std::map<std::string, Chip> chips_;
	std::map<unsigned, Line> lines_;
};

} // namespace simboard
