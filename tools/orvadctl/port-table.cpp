#include "port-table.h"

#include "port-output.h"
#include "table.h"
#include "text.h"

#include <algorithm>
#include <iterator>

namespace orvadctl
{

namespace
{

/// What does not fit is cut, so that no row is out of line.
constexpr std::size_t WIDEST_NAME = 24;
constexpr const char *MARK = "*";
/// The heading, and the line that the cursor waits in.
constexpr std::size_t OTHER_ROWS = 2;

bool same_listing(const Port &one, const Port &other)
{
	return one.active == other.active && one.input == other.input &&
	       one.open == other.open;
}

std::string line_of(const std::string &text, Style style,
		    const PortTable::View &view)
{
	return styled(clip(escape(text), view.columns), style, view.colour) +
	       '\n';
}

/// How many ports the window has room for.
std::size_t room_for(const PortTable::View &view, std::size_t ports)
{
	const std::size_t others = OTHER_ROWS + (view.status.empty() ? 0 : 1);
	const std::size_t room = view.rows > others ? view.rows - others : 0;

	if (ports <= room)
		return ports;
	// A line tells how many more there are.
	return room > 0 ? room - 1 : 0;
}

} // namespace

PortTable::Row &PortTable::add_row(const Port &port)
{
	auto place = std::upper_bound(rows_.begin(), rows_.end(), port.number,
				      [](gint32 number, const Row &row) {
					      return number < row.port.number;
				      });
	Row row;

	row.port = port;
	return *rows_.insert(place, std::move(row));
}

/// The row of a port that is being listed; of several with the same name and
/// number, one that is not in service as far as the listing has come.
PortTable::Row *PortTable::find_listed(const Port &port)
{
	auto row = std::find_if(
		rows_.begin(), rows_.end(), [&port](const Row &candidate) {
			return candidate.service != Service::IN &&
			       candidate.port.number == port.number &&
			       candidate.port.name == port.name;
		});

	return row == rows_.end() ? nullptr : &*row;
}

void PortTable::list_row(Row &row, const Port &port)
{
	row.service = Service::IN;
	if (!row.listed || !same_listing(*row.listed, port)) {
		row.port = port;
		row.note.clear();
	}
	row.listed = port;
}

void PortTable::list(const std::vector<Port> &ports)
{
	for (Row &row : rows_)
		row.service = Service::OUT;
	for (const Port &port : ports) {
		Row *row = find_listed(port);
		list_row(row ? *row : add_row(port), port);
	}
	for (Row &row : rows_)
		if (row.service == Service::OUT)
			row.listed.reset();
}

void PortTable::lose()
{
	for (Row &row : rows_) {
		row.service = Service::UNKNOWN;
		row.listed.reset();
	}
}

/// The row of the port that announces by this number: among several, the one
/// that is listed last.
PortTable::Row &PortTable::row_of(gint32 number, const std::string &name)
{
	auto row = std::find_if(rows_.rbegin(), rows_.rend(),
				[number](const Row &candidate) {
					return candidate.port.number == number;
				});
	Port port;

	if (row != rows_.rend())
		return *row;
	port.number = number;
	port.name = name;
	return add_row(port);
}

void PortTable::take(const Announced &announced, const std::string &name)
{
	const Change &change = announced.change;
	Row &row = row_of(change.number, name);

	++row.changes;
	row.changed.reset(g_date_time_ref(announced.time.get()));
	row.changed_us = announced.time_us;
	row.service = Service::IN;
	if (change.kind == Change::Kind::SEQUENCE_DONE) {
		row.note = "sequence done";
		return;
	}
	row.port.active = change.active;
	row.port.input = change.input;
	row.port.open = change.open;
	row.note = change.simulated ? "simulated" : "";
}

bool PortTable::marked(const Row &row, gint64 now_us)
{
	return row.changed && now_us < row.changed_us + MARK_US;
}

std::optional<gint64> PortTable::next_change_us(gint64 now_us) const
{
	std::optional<gint64> next;

	for (const Row &row : rows_)
		if (marked(row, now_us))
			next = std::min(next.value_or(G_MAXINT64),
					row.changed_us + MARK_US);
	return next;
}

Cell PortTable::state_of(const Row &row)
{
	switch (row.service) {
	case Service::IN:
		return state_cell(row.port.active);
	case Service::OUT:
		return {"absent", Style::FAINT};
	case Service::UNKNOWN:
		break;
	}
	return {"-", Style::FAINT};
}

std::vector<Cell> PortTable::cells(const Row &row, gint64 now_us)
{
	const bool mark = marked(row, now_us);
	const bool known = row.service == Service::IN;
	const Style style = known ? Style::PLAIN : Style::FAINT;
	auto if_known = [known](const std::string &text) {
		return known ? text : "-";
	};

	return {
		{mark ? MARK : "", Style::HEADING},
		{number_text(row.port.number), style},
		{clip(text_or_dash(row.port.name), WIDEST_NAME), style},
		{if_known(direction_text(row.port.input)), style},
		state_of(row),
		{if_known(level_text(row.port.open)), style},
		{std::to_string(row.changes), style},
		{row.changed ? clock_text(row.changed.get()) : "-",
		 mark ? Style::HEADING : style},
		{known ? row.note : "", style},
	};
}

std::string PortTable::text(const View &view) const
{
	const std::size_t shown = room_for(view, rows_.size());
	std::vector<Cell> headings;
	Table table;

	for (const char *heading : {" ", "NUMBER", "NAME", "DIRECTION", "STATE",
				    "LEVEL", "CHANGES", "LAST-CHANGE"})
		headings.emplace_back(heading, Style::HEADING);
	table.add_row(std::move(headings));
	for (std::size_t i = 0; i < shown; ++i)
		table.add_row(cells(rows_[i], view.now_us));

	std::string text = table.text(view.colour, view.columns);
	if (shown < rows_.size())
		text += line_of(std::to_string(rows_.size() - shown) +
					" more ports, no room",
				Style::FAINT, view);
	if (!view.status.empty())
		text += line_of(view.status, Style::WARNING, view);
	text.pop_back();
	return text;
}

} // namespace orvadctl
