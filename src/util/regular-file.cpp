#include "util/regular-file.h"

#include "util/unique-fd.h"

#include <cerrno>
#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace util
{

namespace
{

bool fail(GError **error, const char *path, int code)
{
	g_set_error(error, G_IO_ERROR,
		    static_cast<int>(g_io_error_from_errno(code)), "%s: %s",
		    path, g_strerror(code));
	return false;
}

/// 0, or the error number that says why the file is not read.
int check(int fd, std::size_t limit)
{
	struct stat attributes;
	if (fstat(fd, &attributes) != 0)
		return errno;
	if (!S_ISREG(attributes.st_mode))
		return EINVAL;
	return static_cast<std::size_t>(attributes.st_size) > limit ? EFBIG : 0;
}

} // namespace

bool read_regular_file(const char *path, std::size_t limit, std::string *text,
		       GError **error)
{
	const UniqueFd fd(
		open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
	if (!fd.valid())
		return fail(error, path, errno);
	if (const int code = check(fd.get(), limit))
		return fail(error, path, code);
	char piece[65536];
	ssize_t length;
	while ((length = read(fd.get(), piece, sizeof piece)) > 0) {
		text->append(piece, static_cast<std::size_t>(length));
		// It may grow while it is read.
		if (text->size() > limit)
			return fail(error, path, EFBIG);
	}
	return length == 0 || fail(error, path, errno);
}

} // namespace util
