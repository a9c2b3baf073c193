#include "drawing.h"

#include "text.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

std::string without_colours(std::string line)
{
	std::size_t begin = 0;

	while ((begin = line.find('\033', begin)) != std::string::npos)
		line.erase(begin, line.find('m', begin) + 1 - begin);
	return line;
}

/// How many rows of the terminal a line takes.
std::size_t rows_of(const std::string &line, std::size_t columns)
{
	const std::size_t width = display_width(without_colours(line));

	return std::max<std::size_t>(1, (width + columns - 1) / columns);
}

std::size_t rows_of_frame(const std::string &frame, std::size_t columns)
{
	std::size_t rows = 0;
	std::size_t begin = 0;

	for (;;) {
		const std::size_t end = frame.find('\n', begin);
		rows += rows_of(frame.substr(begin, end - begin), columns);
		if (end == std::string::npos)
			return rows;
		begin = end + 1;
	}
}

/// To the picture's first column and row, and away with what is there. A "^C"
/// that the terminal shows when it is typed goes as well.
std::string erase_sequence(const std::string &frame, std::size_t columns)
{
	return "\r\033[" + std::to_string(rows_of_frame(frame, columns)) +
	       "A\033[J";
}

} // namespace

std::string Drawing::replace(const std::string &frame, std::size_t columns)
{
	const std::string erase =
		drawn_.empty() ? "" : erase_sequence(drawn_, columns);

	drawn_ = frame;
	return erase + frame;
}

} // namespace orvadctl
