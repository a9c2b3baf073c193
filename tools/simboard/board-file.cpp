#include "board-file.h"

#include "board-check.h"
#include "error.h"
#include "util/glib-ptr.h"

#include <cstring>
#include <optional>
#include <span>

namespace simboard
{

namespace
{

constexpr unsigned MOST_LINES = 4096;
constexpr unsigned HIGHEST_BASE = G_MAXINT - MOST_LINES;
constexpr unsigned LONGEST_DELAY_MS = 60000;
constexpr guint64 HIGHEST_GROUP = G_MAXUINT32 - 1; ///< -1 is no group.

/// One group of the file. The first mistake is kept in error; after it every
/// further call does nothing.
class Section
{
public:
	Section(GKeyFile *file, const char *path, const char *group,
		GError **error)
		: file_(file), path_(path), group_(group), error_(error)
	{
	}

	bool ok() const
	{
		return ok_;
	}
	void refuse(const char *key, const std::string &reason)
	{
		if (ok_)
			set_usage_error(error_, "%s: [%s] %s: %s", path_,
					group_, key, reason.c_str());
		ok_ = false;
	}
	bool has(const char *key) const
	{
		return g_key_file_has_key(file_, group_, key, nullptr);
	}

	std::string text(const char *key, const std::string &fallback = "");
	unsigned number(const char *key, guint64 least, guint64 most,
			std::optional<unsigned> fallback = std::nullopt);
	void allow_only(std::span<const char *const> keys);

private:
	GKeyFile *file_;
	const char *path_;
	const char *group_;
	GError **error_;
	bool ok_ = true;
};

std::string Section::text(const char *key, const std::string &fallback)
{
	util::Error error;

	if (!ok_ || !has(key))
		return fallback;
	util::CharPtr value(g_key_file_get_string(file_, group_, key, &error));
	if (!value) {
		refuse(key, error.message());
		return fallback;
	}
	return value.get();
}

unsigned Section::number(const char *key, guint64 least, guint64 most,
			 std::optional<unsigned> fallback)
{
	guint64 number = 0;
	util::Error error;

	if (!has(key)) {
		if (!fallback)
			refuse(key, "is missing");
		return fallback.value_or(0);
	}
	std::string value = text(key);
	if (ok_ && !g_ascii_string_to_unsigned(value.c_str(), 10, least, most,
					       &number, &error))
		refuse(key, error.message());
	return static_cast<unsigned>(number);
}

void Section::allow_only(std::span<const char *const> keys)
{
	util::StrvPtr found(
		g_key_file_get_keys(file_, group_, nullptr, nullptr));

	for (char **key = found.get(); key && *key; ++key) {
		bool known = false;
		for (const char *allowed : keys)
			known |= strcmp(*key, allowed) == 0;
		if (!known)
			refuse(*key, "there is no such key");
	}
}

bool read_board_section(Section section, BoardDescription &board)
{
	static constexpr const char *KEYS[] = {"Name", "Group",
					       "AttributeDelay", "GroupDelay"};

	section.allow_only(KEYS);
	board.name = section.text("Name", board.name);
	board.has_group = section.has("Group");
	board.group = section.number("Group", 0, HIGHEST_GROUP, 0);
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

Wiring read_wiring(Section &section)
{
	std::string text = section.text("Wiring", word(Wiring::WIRE));
	auto wiring = wiring_from_word(text);

	if (!wiring)
		section.refuse("Wiring", "\"" + text + "\" is not one of " +
						 wiring_words());
	return wiring.value_or(Wiring::WIRE);
}

/// A button is wired between the line, which is pulled up, and ground.
Level usual_idle(Wiring wiring)
{
	return wiring == Wiring::BUTTON ? Level::HIGH : Level::LOW;
}

Level read_idle(Section &section, Wiring wiring)
{
	std::string text = section.text("Idle", word(usual_idle(wiring)));
	auto idle = level_from_word(text);

	if (!idle)
		section.refuse("Idle", "\"" + text + "\" is not one of " +
					       level_words());
	return idle.value_or(Level::LOW);
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
	static constexpr const char *KEYS[] = {"Number", "Wiring", "Idle",
					       "Exported", "Follows"};
	LineDescription line;

	section.allow_only(KEYS);
	line.name = name;
	line.number = section.number("Number", 0, G_MAXINT);
	line.wiring = read_wiring(section);
	line.idle = read_idle(section, line.wiring);
	line.folder = read_folder(section, line.number);
	line.follows = section.text("Follows");
	if (section.has("Follows") && section.has("Idle"))
		section.refuse("Idle", "a line that follows is never idle");
	board.lines.push_back(line);
	return section.ok();
}

bool read_section(GKeyFile *file, const char *path, const char *group,
		  BoardDescription &board, GError **error)
{
	Section section(file, path, group, error);

	if (strcmp(group, "Board") == 0)
		return read_board_section(section, board);
	if (g_str_has_prefix(group, "Chip "))
		return read_chip_section(section, group + strlen("Chip "),
					 board);
	if (g_str_has_prefix(group, "Line "))
		return read_line_section(section, group + strlen("Line "),
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
