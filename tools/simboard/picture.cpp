#include "picture.h"

#include "state.h"
#include "util/glib-ptr.h"

#include <algorithm>

namespace simboard
{

namespace
{

constexpr const char *BOLD = "\033[1m";
constexpr const char *GREEN = "\033[32m";
constexpr const char *FAINT = "\033[2m";
constexpr const char *PLAIN = "\033[0m";
constexpr std::size_t GAP = 2;

struct Column {
	const char *title;
	LineField field;
};

constexpr Column COLUMNS[] = {
	{"LINE", FIELD_NUMBER},     {"NAME", FIELD_NAME},
	{"WIRING", FIELD_WIRING},   {"DIRECTION", FIELD_DIRECTION},
	{"LEVEL", FIELD_LEVEL},     {"DRIVEN BY", FIELD_DRIVER},
	{"EXPORTED", FIELD_FOLDER}, {"EDGE", FIELD_EDGE},
	{"LOW", FIELD_ACTIVE_LOW},  {"NOTE", FIELD_NOTE},
};
constexpr std::size_t COLUMN_COUNT = std::size(COLUMNS);

using Fields = std::vector<std::string>;

Fields split(const std::string &row)
{
	util::StrvPtr parts(g_strsplit(row.c_str(), "\t", 0));
	Fields fields;

	for (char **part = parts.get(); *part; ++part)
		fields.emplace_back(*part);
	return fields;
}

Fields titles()
{
	Fields cells;

	for (const Column &column : COLUMNS)
		cells.emplace_back(column.title);
	return cells;
}

/// The cells of a line; what is as usual is left blank.
Fields cells_of(const Fields &fields)
{
	Fields cells;

	for (const Column &column : COLUMNS) {
		const std::string &text = fields[column.field];
		bool usual = text == "-" ||
			     (column.field == FIELD_EDGE && text == "none") ||
			     (column.field == FIELD_ACTIVE_LOW && text == "0");
		cells.push_back(usual ? "" : text);
	}
	return cells;
}

std::string text_of(const Fields &cells, const std::size_t *widths)
{
	std::string text;

	for (std::size_t i = 0; i < COLUMN_COUNT; ++i) {
		text += cells[i];
		text.append(widths[i] + GAP - cells[i].size(), ' ');
	}
	text.erase(text.find_last_not_of(' ') + 1);
	return text;
}

std::string styled(const std::string &text, const char *style, bool colour)
{
	return colour ? style + text + PLAIN : text;
}

const char *style_of(const Fields &cells)
{
	bool high =
		std::find(cells.begin(), cells.end(), "high") != cells.end();

	return high ? GREEN : FAINT;
}

} // namespace

std::string board_picture(const std::vector<std::string> &rows, bool colour)
{
	std::vector<Fields> table = {titles()};
	std::size_t widths[COLUMN_COUNT] = {};
	std::string name;

	for (const std::string &row : rows) {
		Fields fields = split(row);
		if (fields.size() == LINE_FIELDS)
			table.push_back(cells_of(fields));
		else if (fields.size() > 1)
			name = fields[1];
	}
	for (const Fields &cells : table)
		for (std::size_t i = 0; i < COLUMN_COUNT; ++i)
			widths[i] = std::max(widths[i], cells[i].size());

	std::string picture = styled(name, BOLD, colour) + "\n\n" +
			      styled(text_of(table[0], widths), BOLD, colour) +
			      "\n";
	for (std::size_t i = 1; i < table.size(); ++i)
		picture += styled(text_of(table[i], widths), style_of(table[i]),
				  colour) +
			   "\n";
	return picture;
}

} // namespace simboard
