#include "exports.h"

#include "attribute.h"

#include <cerrno>
#include <map>
#include <mutex>
#include <utility>

namespace ugpio_sysfs
{

namespace
{

struct Export {
	std::string unexport_file;
	std::string number;
	unsigned users;
};

std::mutex exports_mutex;
/// By the folder of the line.
std::map<std::string, Export> exports;

/// Somebody else may have unexported it meanwhile, or its chip is gone.
void unexport(const Export &line)
{
	const int saved_errno = errno;
	if (!write_attribute(line.unexport_file, line.number) &&
	    errno != EINVAL)
		warn_about(("write " + line.number + " to").c_str(),
			   line.unexport_file);
	errno = saved_errno;
}

} // namespace

ExportUse::ExportUse(std::string folder, bool first)
	: folder_(std::move(folder)), first_(first)
{
}

ExportUse::ExportUse(ExportUse &&other) noexcept
	: folder_(std::exchange(other.folder_, {})), first_(other.first_)
{
}

ExportUse &ExportUse::operator=(ExportUse &&other) noexcept
{
	std::swap(folder_, other.folder_);
	std::swap(first_, other.first_);
	return *this;
}

ExportUse::~ExportUse()
{
	if (folder_.empty())
		return;
	const std::lock_guard guard(exports_mutex);
	const auto found = exports.find(folder_);
	if (--found->second.users > 0)
		return;
	unexport(found->second);
	exports.erase(found);
}

ExportUse ExportUse::first(const std::string &root, const std::string &number,
			   const std::string &folder)
{
	const std::lock_guard guard(exports_mutex);
	// What is left of an earlier export of the line goes with its users.
	Export &line = exports[folder];
	line = {root + "/unexport", number, line.users + 1};
	return {folder, true};
}

ExportUse ExportUse::further(const std::string &folder)
{
	const std::lock_guard guard(exports_mutex);
	const auto found = exports.find(folder);
	if (found == exports.end())
		return {};
	++found->second.users;
	return {folder, false};
}

} // namespace ugpio_sysfs
