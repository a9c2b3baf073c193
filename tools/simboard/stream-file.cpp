#include "stream-file.h"

#include <cerrno>

namespace simboard
{

namespace
{

/// As devtmpfs makes them.
constexpr mode_t IIO_DEVICE_MODE = 0600;

} // namespace

class StreamFile::Opened : public OpenFile
{
public:
	explicit Opened(std::shared_ptr<StreamFile> file)
		: file_(std::move(file))
	{
		file_->opened_ = this;
	}
	~Opened() override
	{
		file_->opened_ = nullptr;
		if (!file_->removed())
			file_->stream_.close();
	}

	int read(std::size_t size, off_t, std::string &data) override
	{
		return file_->removed() ? ENODEV
					: file_->stream_.read(size, data);
	}
	int write(std::string_view, pid_t) override
	{
		return file_->removed() ? ENODEV : EPERM;
	}
	unsigned poll() override
	{
		bool news = !file_->removed() && file_->stream_.has_data();
		return news ? POLLIN | POLLRDNORM : 0;
	}
	void ioctl(const IoctlCall &call, const IoctlDone &done) override;
	bool seekable() const override
	{
		return false;
	}

	using OpenFile::ready;

private:
	std::shared_ptr<StreamFile> file_;
};

void StreamFile::Opened::ioctl(const IoctlCall &call, const IoctlDone &done)
{
	std::string answer;
	int error = ENODEV;

	if (!file_->removed())
		error = file_->stream_.ioctl
				? file_->stream_.ioctl(call, answer)
				: ENOTTY;
	done(error, 0, answer);
}

StreamFile::StreamFile(Stream stream)
	: File(IIO_DEVICE_MODE), stream_(std::move(stream))
{
}

void StreamFile::wake()
{
	if (opened_)
		opened_->ready();
}

void StreamFile::remove()
{
	File::remove();
	wake();
}

int StreamFile::open(int, const std::shared_ptr<File> &self,
		     std::unique_ptr<OpenFile> &opened)
{
	int error = removed() ? ENODEV : stream_.open();

	if (error == 0)
		opened = std::make_unique<Opened>(
			std::static_pointer_cast<StreamFile>(self));
	return error;
}

} // namespace simboard
