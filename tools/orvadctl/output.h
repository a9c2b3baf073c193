#pragma once

#include "style.h"

#include <cstdio>
#include <string>
#include <string_view>

namespace orvadctl
{

/// Standard output. The first failure to write is remembered, and nothing is
/// written after it: the caller asks once, at the end or after each line.
class Output
{
public:
	/// @param stream stays the caller's and must outlive this.
	/// @param colour whether to use colours.
	Output(FILE *stream, bool colour);

	/// Writes text, which is safe to print, and flushes it.
	void print(std::string_view text);
	/// The same and a line break.
	void line(std::string_view text);

	bool colour() const
	{
		return colour_;
	}
	/// text in its colours, when there are colours.
	std::string styled(std::string_view text, Style style) const;

	/// The errno of the failure to write; 0 when there was none.
	int error() const
	{
		return error_;
	}
	int fd() const;

private:
	FILE *stream_;
	bool colour_;
	int error_ = 0;
};

/// Whether what goes to stream may have colours: stream is a terminal, and the
/// user has not set NO_COLOR to anything.
bool wants_colour(FILE *stream);

} // namespace orvadctl
