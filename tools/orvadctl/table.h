#pragma once

#include "style.h"

#include <string>
#include <vector>

namespace orvadctl
{

/// One field of a table. text is safe to print (see escape()).
struct Cell {
	Cell(std::string cell_text, Style cell_style = Style::PLAIN)
		: text(std::move(cell_text)), style(cell_style)
	{
	}

	std::string text;
	Style style;
};

/// Rows of left-aligned columns, two blanks apart.
class Table
{
public:
	/// A column is never made wider than this many terminal columns. A
	/// longer text is shown whole and moves the rest of its own row.
	static constexpr std::size_t WIDEST_COLUMN = 40;

	/// The cells of a row; rows may differ in length.
	void add_row(std::vector<Cell> row);

	/// All rows, each ended by a line break, without trailing blanks.
	/// @param columns where a row is cut off.
	std::string text(bool colour,
			 std::size_t columns = std::string::npos) const;

private:
	std::vector<std::size_t> column_widths() const;

	std::vector<std::vector<Cell>> rows_;
};

} // namespace orvadctl
