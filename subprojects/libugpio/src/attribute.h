#pragma once

/// Files of sysfs.

#include <cstdarg>
#include <optional>
#include <string>

namespace ugpio_sysfs
{

/// Owns one file descriptor.
class UniqueFd
{
public:
	UniqueFd() = default;
	explicit UniqueFd(int fd) : fd_(fd)
	{
	}
	~UniqueFd()
	{
		reset();
	}
	UniqueFd(const UniqueFd &) = delete;
	UniqueFd &operator=(const UniqueFd &) = delete;

	int get() const
	{
		return fd_;
	}
	/// Closes the descriptor, leaving errno alone, and takes over another.
	void reset(int fd = -1);

private:
	int fd_ = -1;
};

/// Logs that @p path could not be used as @p what says, with errno's text;
/// errno stays as it is.
void warn_about(const char *what, const std::string &path);

/// Writes @p text to the attribute at @p path in one go. False: errno.
bool write_attribute(const std::string &path, const std::string &text);

/// The attribute's text without white space at its end; none: errno.
std::optional<std::string> read_attribute(const std::string &path);

} // namespace ugpio_sysfs
