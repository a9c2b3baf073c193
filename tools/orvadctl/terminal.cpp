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

using LocalePtr = util::Handle<std::remove_pointer_t<locale_t>, freelocale>;

} // namespace

bool can_redraw(int fd)
{
	const char *kind = g_getenv("TERM");

	return kind && *kind != '\0' && g_strcmp0(kind, "dumb") != 0 &&
	       isatty(fd);
}

std::size_t terminal_width(int fd)
{
	struct winsize size = {};

	if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
		return USUAL_WIDTH;
	return size.ws_col;
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
