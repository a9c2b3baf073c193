#include "state.h"

#include "error.h"

namespace simboard
{

namespace
{

std::string driver_of(const Line &line)
{
	if (line.direction == Direction::OUT)
		return "daemon";
	if (line.follows)
		return line.follows->title();
	return line.outside == line.idle ? "idle" : "board";
}

void add_note(std::string &notes, const std::string &note)
{
	notes += (notes.empty() ? "" : " ") + note;
}

std::string notes_of(const Line &line)
{
	std::string notes;

	if (!line.present())
		add_note(notes, "unplugged");
	for (Access access : {Access::READ, Access::WRITE, Access::EXPORT})
		if (line.fault(access) != 0)
			add_note(notes,
				 std::string(word(access)) + ":" +
					 errno_symbol(line.fault(access)));
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
	       field(notes_of(line));
}

bool is_of_interest(const Line &line)
{
	return !line.name.empty() || line.exported() ||
	       line.direction == Direction::OUT || line.outside != line.idle ||
	       !notes_of(line).empty();
}

} // namespace simboard
