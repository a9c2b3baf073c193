#include "vcd-file.h"

#include "error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvadctl
{

namespace
{

constexpr const char *STANDARD_OUTPUT = "-";

void set_write_failure(GError **error, const std::string &path, int number)
{
	set_failure(error, "cannot write \"%s\": %s", path.c_str(),
		    strerror(number));
}

bool is_regular(int fd)
{
	struct stat status = {};

	return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

/// Whether a file that is not there could be made; errno tells why not.
bool can_make(const std::string &path)
{
	util::CharPtr directory(g_path_get_dirname(path.c_str()));

	return faccessat(AT_FDCWD, directory.get(), W_OK | X_OK, AT_EACCESS) ==
	       0;
}

bool is_there(const std::string &path)
{
	return faccessat(AT_FDCWD, path.c_str(), F_OK, AT_EACCESS) == 0;
}

} // namespace

VcdFile::VcdFile(std::string path, Output &standard_output)
	: path_(std::move(path)), standard_output_(standard_output)
{
}

bool VcdFile::is_standard_output() const
{
	return path_ == STANDARD_OUTPUT;
}

/// errno tells why not.
bool VcdFile::open_own()
{
	// Appending is what does not empty the file.
	file_.reset(fopen(path_.c_str(), "ae"));
	if (file_)
		own_ = std::make_unique<Output>(file_.get(), false);
	return file_ != nullptr;
}

std::unique_ptr<VcdFile> VcdFile::open(const std::string &path,
				       Output &standard_output, GError **error)
{
	std::unique_ptr<VcdFile> file(new VcdFile(path, standard_output));

	if (file->is_standard_output() ||
	    (is_there(path) ? file->open_own() : can_make(path)))
		return file;
	set_write_failure(error, path, errno);
	return nullptr;
}

/// errno tells why not.
bool VcdFile::clear() const
{
	const int fd = fileno(file_.get());

	return !is_regular(fd) || ftruncate(fd, 0) == 0;
}

bool VcdFile::begin(GError **error)
{
	if (is_standard_output() || ((file_ || open_own()) && clear()))
		return true;
	set_write_failure(error, path_, errno);
	return false;
}

bool VcdFile::close(GError **error)
{
	if (!file_)
		return true;
	int failure = own_->error();
	// A file system may tell of a failure only now.
	if (fclose(file_.release()) != 0 && failure == 0)
		failure = errno;
	if (failure == 0 || failure == EPIPE)
		return true;
	set_write_failure(error, path_, failure);
	return false;
}

} // namespace orvadctl
