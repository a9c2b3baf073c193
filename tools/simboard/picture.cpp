#include "picture.h"

#include "numbers.h"
#include "state.h"
#include "util/glib-ptr.h"

#include <algorithm>
#include <span>

namespace simboard
{

namespace
{

constexpr const char *BOLD = "\033[1m";
constexpr const char *RED = "\033[31m";
constexpr const char *GREEN = "\033[32m";
constexpr const char *FAINT = "\033[2m";
constexpr const char *PLAIN = "\033[0m";
constexpr std::size_t GAP = 2;
constexpr guint64 BAR_LENGTH = 20;

using Fields = std::vector<std::string>;

struct Column {
	const char *title;
	std::size_t field;
	/// How to show the field's text, of a row; null: as it is.
	std::string (*show)(const std::string &text, const Fields &row);
};

/// The rows of one kind.
struct Table {
	const char *kind;
	std::size_t fields;
	std::span<const Column> columns;
	const char *(*style_of)(const Fields &fields);
};

std::string show_edge(const std::string &text, const Fields &)
{
	return text == "none" ? "" : text;
}

std::string show_flag(const std::string &text, const Fields &)
{
	return text == "0" ? "" : text;
}

/// A level as a number and a bar.
std::string show_level(const std::string &text, const Fields &row)
{
	guint64 level = 0, most = 0;

	if (!parse_unsigned(row[LOOP_FULL_SCALE], 1, MOST_FULL_SCALE, most) ||
	    !parse_unsigned(text, 0, most, level))
		return text;
	std::string bar(BAR_LENGTH, '.');
	std::fill_n(bar.begin(), level * BAR_LENGTH / most, '#');
	util::CharPtr shown(g_strdup_printf(
		"%3u [%s]", static_cast<unsigned>(level), bar.c_str()));
	return shown.get();
}

constexpr Column LINE_COLUMNS[] = {
	{"LINE", FIELD_NUMBER, nullptr},
	{"NAME", FIELD_NAME, nullptr},
	{"WIRING", FIELD_WIRING, nullptr},
	{"DIRECTION", FIELD_DIRECTION, nullptr},
	{"LEVEL", FIELD_LEVEL, nullptr},
	{"DRIVEN BY", FIELD_DRIVER, nullptr},
	{"EXPORTED", FIELD_FOLDER, nullptr},
	{"EDGE", FIELD_EDGE, show_edge},
	{"LOW", FIELD_ACTIVE_LOW, show_flag},
	{"NOTE", FIELD_NOTE, nullptr},
};

constexpr Column CONVERTER_COLUMNS[] = {
	{"CONVERTER", CONVERTER_NAME, nullptr},
	{"DEVICE", CONVERTER_DEVICE, nullptr},
	{"MODE", CONVERTER_MODE, nullptr},
	{"BITS", CONVERTER_BITS, nullptr},
	{"HZ", CONVERTER_SPEED, nullptr},
	{"OPEN", CONVERTER_USERS, show_flag},
	{"MESSAGES", CONVERTER_MESSAGES, nullptr},
	{"NOTE", CONVERTER_NOTE, nullptr},
};

constexpr Column LOOP_COLUMNS[] = {
	{"LOOP", LOOP_NAME, nullptr},
	{"CONVERTER", LOOP_CONVERTER, nullptr},
	{"ADDRESS", LOOP_ADDRESS, nullptr},
	{"STATE", LOOP_STATE, nullptr},
	{"LEVEL", LOOP_LEVEL, show_level},
	{"LINE", LOOP_LINE, nullptr},
};

constexpr Column IIO_COLUMNS[] = {
	{"IIO", IIO_NAME, nullptr},
	{"NAME", IIO_NAME_ATTRIBUTE, nullptr},
	{"DEVICE", IIO_DEVICE, nullptr},
	{"TRIGGER", IIO_TRIGGER, nullptr},
	{"BUFFER", IIO_RUNNING, show_flag},
	{"SCANS", IIO_SCANS, show_flag},
	{"LOST", IIO_LOST, show_flag},
	{"OPEN", IIO_OPEN, show_flag},
	{"EVENTS", IIO_LISTENING, show_flag},
	{"NOTE", IIO_NOTE, nullptr},
};

constexpr Column CHANNEL_COLUMNS[] = {
	{"CHANNEL", CHANNEL_NAME, nullptr},
	{"FILE", CHANNEL_FILE, nullptr},
	{"VALUE", CHANNEL_VALUE, nullptr},
	{"SCANNED", CHANNEL_SCANNED, show_flag},
	{"FALLING", CHANNEL_FALLING, nullptr},
	{"RISING", CHANNEL_RISING, nullptr},
	{"ENABLED", CHANNEL_ENABLED, nullptr},
	{"CROSSED", CHANNEL_EVENTS, show_flag},
	{"LOOP", CHANNEL_LOOP, nullptr},
};

constexpr Column TRIGGER_COLUMNS[] = {
	{"TRIGGER", TRIGGER_NAME, nullptr},
	{"FOLDER", TRIGGER_FOLDER, nullptr},
	{"HZ", TRIGGER_FREQUENCY, nullptr},
	{"USERS", TRIGGER_USERS, show_flag},
};

const char *line_style(const Fields &fields)
{
	return fields[FIELD_LEVEL] == "high" ? GREEN : FAINT;
}

const char *converter_style(const Fields &fields)
{
	return fields[CONVERTER_USERS] != "0" ? GREEN : FAINT;
}

const char *loop_style(const Fields &fields)
{
	auto state = loop_state_from_word(fields[LOOP_STATE]);

	if (state == LoopState::CLOSED)
		return FAINT;
	return state == LoopState::OPEN ? GREEN : RED;
}

/// Whether somebody gets something of it.
const char *iio_style(const Fields &fields)
{
	return fields[IIO_RUNNING] != "0" || fields[IIO_LISTENING] != "0"
		       ? GREEN
		       : FAINT;
}

const char *channel_style(const Fields &fields)
{
	return fields[CHANNEL_SCANNED] != "0" || fields[CHANNEL_ENABLED] != "-"
		       ? GREEN
		       : FAINT;
}

const char *trigger_style(const Fields &fields)
{
	return fields[TRIGGER_USERS] != "0" ? GREEN : FAINT;
}

constexpr Table TABLES[] = {
	{"line", LINE_FIELDS, LINE_COLUMNS, line_style},
	{"converter", CONVERTER_FIELDS, CONVERTER_COLUMNS, converter_style},
	{"loop", LOOP_FIELDS, LOOP_COLUMNS, loop_style},
	{"iio", IIO_FIELDS, IIO_COLUMNS, iio_style},
	{"channel", CHANNEL_FIELDS, CHANNEL_COLUMNS, channel_style},
	{"trigger", TRIGGER_FIELDS, TRIGGER_COLUMNS, trigger_style},
};

Fields split(const std::string &row)
{
	util::StrvPtr parts(g_strsplit(row.c_str(), "\t", 0));
	Fields fields;

	for (char **part = parts.get(); *part; ++part)
		fields.emplace_back(*part);
	return fields;
}

std::string styled(const std::string &text, const char *style, bool colour)
{
	return colour ? style + text + PLAIN : text;
}

/// The cells of a row; what has nothing to tell is left blank.
Fields cells_of(const Table &table, const Fields &fields)
{
	Fields cells;

	for (const Column &column : table.columns) {
		const std::string &text = fields[column.field];
		cells.push_back(text == "-"   ? ""
				: column.show ? column.show(text, fields)
					      : text);
	}
	return cells;
}

std::string text_of(const Fields &cells, const std::vector<std::size_t> &widths)
{
	std::string text;

	for (std::size_t i = 0; i < cells.size(); ++i) {
		text += cells[i];
		text.append(widths[i] + GAP - cells[i].size(), ' ');
	}
	text.erase(text.find_last_not_of(' ') + 1);
	return text;
}

std::string table_text(const Table &table, const std::vector<Fields> &rows,
		       bool colour)
{
	std::vector<Fields> lines(1);
	std::vector<std::size_t> widths(table.columns.size());

	for (const Column &column : table.columns)
		lines[0].emplace_back(column.title);
	for (const Fields &row : rows)
		lines.push_back(cells_of(table, row));
	for (const Fields &cells : lines)
		for (std::size_t i = 0; i < widths.size(); ++i)
			widths[i] = std::max(widths[i], cells[i].size());

	std::string text =
		"\n" + styled(text_of(lines[0], widths), BOLD, colour) + "\n";
	for (std::size_t i = 0; i < rows.size(); ++i)
		text += styled(text_of(lines[i + 1], widths),
			       table.style_of(rows[i]), colour) +
			"\n";
	return text;
}

/// The rows that the table is about.
std::vector<Fields> rows_of(const Table &table, const std::vector<Fields> &all)
{
	std::vector<Fields> rows;

	for (const Fields &fields : all)
		if (fields[0] == table.kind && fields.size() == table.fields)
			rows.push_back(fields);
	return rows;
}

} // namespace

std::string board_picture(const std::vector<std::string> &rows, bool colour)
{
	std::vector<Fields> all;
	std::string name;

	for (const std::string &row : rows) {
		Fields fields = split(row);
		if (fields.size() == 2)
			name = fields[1];
		else if (!fields.empty())
			all.push_back(fields);
	}
	std::string picture = styled(name, BOLD, colour) + "\n";
	for (const Table &table : TABLES) {
		std::vector<Fields> of_kind = rows_of(table, all);
		// A board without anything has no lines.
		if (!of_kind.empty() || &table == TABLES)
			picture += table_text(table, of_kind, colour);
	}
	return picture;
}

} // namespace simboard
