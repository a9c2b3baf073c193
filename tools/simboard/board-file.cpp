#include "board-file.h"

#include "adc.h"
#include "board-check.h"
#include "error.h"
#include "iio-section.h"
#include "section.h"
#include "util/glib-ptr.h"

#include <grp.h>

#include <cstring>

namespace simboard
{

namespace
{

constexpr unsigned MOST_LINES = 4096;
constexpr unsigned HIGHEST_BASE = G_MAXINT - MOST_LINES;
constexpr unsigned LONGEST_DELAY_MS = 60000;
constexpr guint64 HIGHEST_GROUP = G_MAXUINT32 - 1; ///< -1 is no group.

/// Of a group's id or name.
gid_t read_group(Section &section)
{
	std::string text = section.text("Group");

	if (text.empty() || g_ascii_isdigit(text.front()))
		return section.number("Group", 0, HIGHEST_GROUP, 0);
	const group *entry = getgrnam(text.c_str());
	if (!entry) {
		section.refuse("Group", "there is no group " + text);
		return 0;
	}
	return entry->gr_gid;
}

bool read_board_section(Section section, BoardDescription &board)
{
	static constexpr const char *KEYS[] = {"Name", "Group",
					       "AttributeDelay", "GroupDelay"};

	section.allow_only(KEYS);
	board.name = section.text("Name", board.name);
	board.has_group = section.has("Group");
	board.group = read_group(section);
	board.attribute_delay_ms =
		section.number("AttributeDelay", 0, LONGEST_DELAY_MS, 0);
	board.group_delay_ms =
		section.number("GroupDelay", 0, LONGEST_DELAY_MS, 0);
	if (board.group_delay_ms != 0 && !board.has_group)
		section.refuse("GroupDelay", "there is no Group to wait for");
	return section.ok();
}

bool read_chip_section(Section section, const std::string &name,
		       BoardDescription &board)
{
	static constexpr const char *KEYS[] = {"Base", "Lines", "Label"};
	ChipDescription chip;

	section.allow_only(KEYS);
	chip.name = name;
	chip.base = section.number("Base", 0, HIGHEST_BASE);
	chip.lines = section.number("Lines", 1, MOST_LINES);
	chip.label = section.text("Label", name);
	board.chips.push_back(chip);
	return section.ok();
}

/// A button is wired between the line, which is pulled up, and ground.
Level usual_idle(Wiring wiring)
{
	return wiring == Wiring::BUTTON ? Level::HIGH : Level::LOW;
}

std::string read_folder(Section &section, unsigned number)
{
	std::string text = section.text("Exported", "false");

	if (text == "false")
		return "";
	return text == "true" ? "gpio" + std::to_string(number) : text;
}

bool read_line_section(Section section, const std::string &name,
		       BoardDescription &board)
{
	static constexpr const char *KEYS[] = {
		"Number", "Wiring", "Idle", "Exported", "Follows", "Direction"};
	LineDescription line;

	section.allow_only(KEYS);
	line.name = name;
	line.number = section.number("Number", 0, G_MAXINT);
	line.wiring = section.choice("Wiring", Wiring::WIRE, wiring_from_word,
				     wiring_words());
	line.idle = section.choice("Idle", usual_idle(line.wiring),
				   level_from_word, level_words());
	line.direction = section.choice("Direction", Direction::IN,
					direction_from_word, direction_words());
	line.folder = read_folder(section, line.number);
	line.follows = section.text("Follows");
	if (section.has("Follows") && section.has("Idle"))
		section.refuse("Idle", "a line that follows is never idle");
	board.lines.push_back(line);
	return section.ok();
}

bool read_converter_section(Section section, const std::string &name,
			    BoardDescription &board)
{
	static constexpr const char *KEYS[] = {"Device"};

	section.allow_only(KEYS);
	board.converters.push_back({name, section.required_text("Device")});
	return section.ok();
}

Circuit read_circuit(Section &section)
{
	auto wiring =
		section.choice("Wiring", LoopWiring::NORMALLY_CLOSED,
			       loop_wiring_from_word, loop_wiring_words());
	Circuit circuit = usual_circuit(wiring);

	circuit.pull_up =
		section.number("PullUp", 1, MOST_OHMS, circuit.pull_up);
	circuit.end_of_line =
		section.number("EndOfLine", 1, MOST_OHMS, circuit.end_of_line);
	circuit.contact =
		section.number("Contact", 1, MOST_OHMS, circuit.contact);
	return circuit;
}

bool read_loop_section(Section section, const std::string &name,
		       BoardDescription &board)
{
	static constexpr const char *KEYS[] = {
		"Converter", "Address", "Wiring", "PullUp",
		"EndOfLine", "Contact", "Line"};
	LoopDescription loop;

	section.allow_only(KEYS);
	loop.name = name;
	loop.converter = section.required_text("Converter");
	loop.address = section.number("Address", 0, Adc::HIGHEST_ADDRESS);
	loop.circuit = read_circuit(section);
	loop.line = section.text("Line");
	board.loops.push_back(loop);
	return section.ok();
}

struct SectionKind {
	const char *prefix; ///< A name follows.
	bool (*read)(Section section, const std::string &name,
		     BoardDescription &board);
};

constexpr SectionKind SECTIONS[] = {
	{"Chip ", read_chip_section},
	{"Line ", read_line_section},
	{"Converter ", read_converter_section},
	{"Loop ", read_loop_section},
	{"IIO ", read_iio_section},
	{"Channel ", read_channel_section},
};

bool read_section(GKeyFile *file, const char *path, const char *group,
		  BoardDescription &board, GError **error)
{
	Section section(file, path, group, error);

	if (strcmp(group, "Board") == 0)
		return read_board_section(section, board);
	for (const SectionKind &kind : SECTIONS)
		if (g_str_has_prefix(group, kind.prefix))
			return kind.read(section, group + strlen(kind.prefix),
					 board);
	set_usage_error(error, "%s: [%s]: there is no such group", path, group);
	return false;
}

} // namespace

bool parse_board(const std::string &text, const char *path,
		 BoardDescription &board, GError **error)
{
	util::KeyFilePtr file(g_key_file_new());
	util::Error reason;

	board = {};
	board.name = "board";
	if (!g_key_file_load_from_data(file.get(), text.data(), text.size(),
				       G_KEY_FILE_NONE, &reason)) {
		set_usage_error(error, "%s: %s", path, reason.message());
		return false;
	}
	util::StrvPtr groups(g_key_file_get_groups(file.get(), nullptr));
	for (char **group = groups.get(); *group; ++group)
		if (!read_section(file.get(), path, *group, board, error))
			return false;
	return check_board(board, path, error);
}

bool read_board_file(const char *path, BoardDescription &board, GError **error)
{
	char *contents = nullptr;
	gsize length = 0;
	util::Error reason;

	if (!g_file_get_contents(path, &contents, &length, &reason)) {
		set_usage_error(error, "%s", reason.message());
		return false;
	}
	util::CharPtr owner(contents);
	return parse_board(std::string(contents, length), path, board, error);
}

} // namespace simboard
