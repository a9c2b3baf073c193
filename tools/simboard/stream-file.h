#pragma once

/// A device file that records are read from as they come.

#include "node.h"

namespace simboard
{

class StreamFile : public File
{
public:
	/// What is behind it. Nothing of it is called once the file was
	/// removed.
	struct Stream {
		std::function<int()> open;
		std::function<void()> close;
		/// As OpenFile::read().
		std::function<int(std::size_t size, std::string &data)> read;
		std::function<bool()> has_data;
		/// May be empty.
		std::function<int(const IoctlCall &call, std::string &answer)>
			ioctl;
	};

	explicit StreamFile(Stream stream);

	/// There is more to read, or another reason for reads to end.
	void wake();

	void remove() override;
	int open(int flags, const std::shared_ptr<File> &self,
		 std::unique_ptr<OpenFile> &opened) override;

private:
	class Opened;

	Stream stream_;
	Opened *opened_ = nullptr; ///< The kernel lets just one in.
};

} // namespace simboard
