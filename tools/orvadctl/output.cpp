#include "output.h"

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace orvadctl
{

Output::Output(FILE *stream, bool colour) : stream_(stream), colour_(colour)
{
}

void Output::print(std::string_view text)
{
	if (error_ != 0)
		return;
	errno = 0;
	if (fwrite(text.data(), 1, text.size(), stream_) != text.size() ||
	    fflush(stream_) != 0)
		error_ = errno != 0 ? errno : EIO;
}

void Output::line(std::string_view text)
{
	print(std::string(text) + '\n');
}

std::string Output::styled(std::string_view text, Style style) const
{
	return orvadctl::styled(text, style, colour_);
}

int Output::fd() const
{
	return fileno(stream_);
}

bool wants_colour(FILE *stream)
{
	const char *no_colour = getenv("NO_COLOR");

	return (!no_colour || *no_colour == '\0') && isatty(fileno(stream));
}

} // namespace orvadctl
