#include "terminal.h"

#include "util/glib-ptr.h"

#include <clocale>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <type_traits>
#include <unistd.h>

namespace orvadctl
{

namespace
{

constexpr std::size_t USUAL_WIDTH = 80;
constexpr std::size_t USUAL_HEIGHT = 24;

using LocalePtr = util::Handle<std::remove_pointer_t<locale_t>, freelocale>;

/// All 0 when it cannot be told.
struct winsize size_of(int fd)
{
	struct winsize size = {};

	if (ioctl(fd, TIOCGWINSZ, &size) != 0)
		return {};
	return size;
}

} // namespace

bool can_redraw(int fd)
{
	const char *kind = g_getenv("TERM");

	return kind && *kind != '\0' && g_strcmp0(kind, "dumb") != 0 &&
	       isatty(fd);
}

std::size_t terminal_width(int fd)
{
	const unsigned short columns = size_of(fd).ws_col;

	return columns == 0 ? USUAL_WIDTH : columns;
}

std::size_t terminal_height(int fd)
{
	const unsigned short rows = size_of(fd).ws_row;

	return rows == 0 ? USUAL_HEIGHT : rows;
}

bool locale_is_utf8()
{
	// The program itself stays in the locale "C": its numbers are the same
	// everywhere.
	LocalePtr locale(newlocale(LC_CTYPE_MASK, "", nullptr));

	return locale &&
	       g_strcmp0(nl_langinfo_l(CODESET, locale.get()), "UTF-8") == 0;
}

} // namespace orvadctl
