#pragma once

/// The kernel's Industrial I/O files over the model: the folders of the
/// devices, and their files in /dev (Documentation/ABI/testing/sysfs-bus-iio of
/// Linux 6.1).

#include "iio.h"
#include "stream-file.h"

namespace simboard
{

/// Where the files are.
struct IioFolders {
	std::shared_ptr<Folder> devices; ///< Of devices and triggers.
	std::shared_ptr<Folder> files;   ///< /dev
	std::shared_ptr<Folder> events;  ///< See event-file.h.
	std::string events_path;         ///< That folder's, absolute.
};

class IioFiles
{
public:
	/// Fills the folders and powers the devices on, whose listener it
	/// becomes.
	/// @param iio, board must outlive this, and what was opened.
	IioFiles(Iio &iio, const BoardDescription &board, IioFolders folders);
	IioFiles(const IioFiles &) = delete;
	IioFiles &operator=(const IioFiles &) = delete;

private:
	struct Files {
		std::shared_ptr<StreamFile> buffer;
		std::shared_ptr<StreamFile> events; ///< Null: it has none.
	};

	void add(IioDevice &device);
	void remove(IioDevice &device);
	StreamFile::Stream buffer_stream(IioDevice &device);
	StreamFile::Stream event_stream(IioDevice &device);
	int answer_path(IioDevice &device, const IoctlCall &call,
			std::string &answer);

	Iio &iio_;
	const BoardDescription &board_;
	IioFolders folders_;
	std::map<const IioDevice *, Files> files_;
};

} // namespace simboard
