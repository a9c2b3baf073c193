#include "vcd-file.h"

#include "error.h"

#include <cerrno>
#include <cstring>
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

} // namespace

VcdFile::VcdFile(std::string path, FilePtr file, Output &standard_output)
	: path_(std::move(path)), file_(std::move(file)),
	  standard_output_(standard_output)
{
	if (file_)
		own_ = std::make_unique<Output>(file_.get(), false);
}

std::unique_ptr<VcdFile> VcdFile::open(const std::string &path,
				       Output &standard_output, GError **error)
{
	FilePtr file;

	if (path != STANDARD_OUTPUT) {
		// Appending is what does not empty the file.
		file.reset(fopen(path.c_str(), "ae"));
		if (!file) {
			set_write_failure(error, path, errno);
			return nullptr;
		}
	}
	return std::unique_ptr<VcdFile>(
		new VcdFile(path, std::move(file), standard_output));
}

bool VcdFile::clear(GError **error)
{
	if (!file_ || !is_regular(fileno(file_.get())) ||
	    ftruncate(fileno(file_.get()), 0) == 0)
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
