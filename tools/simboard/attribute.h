#pragma once

/// Files as sysfs has them: one short text, made when it is read and handed
/// over whole when it is written. The rules are those of Linux 6.1,
/// fs/kernfs/file.c, fs/sysfs/file.c and fs/seq_file.c.

#include "node.h"

#include <set>

namespace simboard
{

/// The permissions of most attributes, for everybody and for root.
constexpr mode_t READ_ONLY = 0444;
constexpr mode_t READ_WRITE = 0644;

/// A text file whose change poll can report: it has a counter of events, each
/// open file the count that it has seen, and while the two differ poll adds
/// POLLERR and POLLPRI. An open file starts with having seen nothing.
class Attribute : public File
{
public:
	/// Makes the text, with its line break.
	using Show = std::function<int(std::string &text)>;
	/// Takes a text as it was written, often with a line break.
	using Store = std::function<int(std::string_view text, pid_t process)>;

	/// @param show, store may be empty: then it cannot be opened for that,
	///     not even by root.
	Attribute(mode_t permissions, Show show, Store store);

	/// Counts an event, and wakes those who wait for one.
	void notify();

	off_t size() const override;
	void remove() override;
	int open(int flags, const std::shared_ptr<File> &self,
		 std::unique_ptr<OpenFile> &opened) override;

private:
	class Opened;

	void wake_all();

	Show show_;
	Store store_;
	unsigned events_ = 1;
	std::set<Opened *> opened_;
};

using AttributePtr = std::shared_ptr<Attribute>;

/// Reads a number as the kernel's kstrtol(text, 0) does: decimal, 0x or leading
/// 0; with a sign; one line break may follow. EINVAL: no number, ERANGE.
int parse_number(std::string_view text, long &number);

/// The text without the one line break that may follow it (sysfs_streq).
std::string_view trim_line(std::string_view text);

} // namespace simboard
