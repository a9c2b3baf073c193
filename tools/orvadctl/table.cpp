#include "table.h"

#include "text.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

constexpr std::size_t GAP = 2;

std::string row_text(const std::vector<Cell> &row,
		     const std::vector<std::size_t> &widths, bool colour,
		     std::size_t columns)
{
	std::string line;
	// Blanks are owed until more text follows: none trail.
	std::size_t blanks = 0;

	for (std::size_t column = 0; column < row.size(); ++column) {
		const Cell &cell = row[column];
		std::size_t width = display_width(cell.text);
		if (!cell.text.empty()) {
			if (blanks >= columns)
				break;
			columns -= blanks;
			line.append(blanks, ' ');
			line += styled(clip(cell.text, columns), cell.style,
				       colour);
			columns -= std::min(columns, width);
			blanks = 0;
		}
		blanks += std::max(widths[column], width) - width + GAP;
	}
	return line + '\n';
}

} // namespace

void Table::add_row(std::vector<Cell> row)
{
	rows_.push_back(std::move(row));
}

std::vector<std::size_t> Table::column_widths() const
{
	std::vector<std::size_t> widths;

	for (const std::vector<Cell> &row : rows_) {
		widths.resize(std::max(widths.size(), row.size()));
		for (std::size_t column = 0; column < row.size(); ++column) {
			std::size_t width = display_width(row[column].text);
			widths[column] = std::max(
				widths[column], std::min(width, WIDEST_COLUMN));
		}
	}
	return widths;
}

std::string Table::text(bool colour, std::size_t columns) const
{
	std::vector<std::size_t> widths = column_widths();
	std::string result;

	for (const std::vector<Cell> &row : rows_)
		result += row_text(row, widths, colour, columns);
	return result;
}

} // namespace orvadctl
