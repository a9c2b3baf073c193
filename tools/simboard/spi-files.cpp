#include "spi-files.h"

#include "spi-ioctl.h"
#include "udev-rule.h"

#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include <cerrno>

namespace simboard
{

namespace
{

/// As devtmpfs makes them.
constexpr mode_t SPI_DEVICE_MODE = 0600;

class SpiDevice : public File
{
public:
	SpiDevice(Converters &board_converters, Converter &its_converter)
		: File(SPI_DEVICE_MODE), converters(board_converters),
		  converter(its_converter)
	{
	}

	int open(int flags, const std::shared_ptr<File> &self,
		 std::unique_ptr<OpenFile> &opened) override;
	/// ESHUTDOWN once it has been unplugged.
	int exchange(std::vector<SpiTransfer> &message);

	Converters &converters;
	Converter &converter;
};

class OpenDevice : public OpenFile
{
public:
	explicit OpenDevice(std::shared_ptr<SpiDevice> device)
		: device_(std::move(device))
	{
	}
	~OpenDevice() override
	{
		if (!device_->removed())
			device_->converters.close(device_->converter);
	}

	int read(std::size_t size, off_t, std::string &data) override;
	int write(std::string_view data, pid_t) override;
	unsigned poll() override
	{
		return USUAL_POLL;
	}
	void ioctl(const IoctlCall &call, const IoctlDone &done) override;
	bool seekable() const override
	{
		return false;
	}

private:
	std::shared_ptr<SpiDevice> device_;
};

int SpiDevice::open(int, const std::shared_ptr<File> &self,
		    std::unique_ptr<OpenFile> &opened)
{
	int error = removed() ? ENXIO : converters.open(converter);

	if (error == 0)
		opened = std::make_unique<OpenDevice>(
			std::static_pointer_cast<SpiDevice>(self));
	return error;
}

int SpiDevice::exchange(std::vector<SpiTransfer> &message)
{
	return removed() ? ESHUTDOWN : converters.exchange(converter, message);
}

int OpenDevice::read(std::size_t size, off_t, std::string &data)
{
	std::vector<SpiTransfer> message(1);

	if (size > SPI_BUFFER_SIZE)
		return EMSGSIZE;
	message[0].length = size;
	message[0].receives = true;
	int error = device_->exchange(message);
	data = std::move(message[0].received);
	return error;
}

int OpenDevice::write(std::string_view data, pid_t)
{
	std::vector<SpiTransfer> message(1);

	if (data.size() > SPI_BUFFER_SIZE)
		return EMSGSIZE;
	message[0].length = data.size();
	message[0].sent = data;
	return device_->exchange(message);
}

/// What happens when all is there that the caller sends.
void exchange(SpiDevice &device, SpiMessage &message, pid_t thread,
	      const IoctlDone &done)
{
	auto target = message.targets.begin();
	int error = device.exchange(message.transfers);

	if (error != 0) {
		done(error, 0, "");
		return;
	}
	for (SpiTransfer &transfer : message.transfers)
		if (transfer.receives)
			target++->data = std::move(transfer.received);
	auto written = [done, total = message.total](int fault, auto) {
		done(fault, total, "");
	};
	write_memory(thread, std::move(message.targets), written);
}

void run_message(const std::shared_ptr<SpiDevice> &device, SpiMessage message,
		 pid_t thread, const IoctlDone &done)
{
	auto sources = std::move(message.sources);
	auto ready = [=](int fault, std::vector<MemoryBlock> blocks) mutable {
		int error = fault != 0 ? fault : message.error;
		if (error != 0) {
			done(error, 0, "");
			return;
		}
		auto block = blocks.begin();
		for (SpiTransfer &transfer : message.transfers)
			if (transfer.sent)
				transfer.sent = std::move(block++->data);
		exchange(*device, message, thread, done);
	};

	read_memory(thread, std::move(sources), ready);
}

void OpenDevice::ioctl(const IoctlCall &call, const IoctlDone &done)
{
	SpiMessage message;
	std::string answer;

	if (_IOC_TYPE(call.command) != SPI_IOC_MAGIC) {
		done(ENOTTY, 0, "");
		return;
	}
	if (device_->removed()) {
		done(ESHUTDOWN, 0, "");
		return;
	}
	int error = decode_message(call, message);
	if (error == ENOTTY) {
		error = run_setting(device_->converters, device_->converter,
				    call, answer);
		done(error, 0, answer);
	} else if (error != 0 || call.argument.empty()) {
		done(error, 0, "");
	} else {
		run_message(device_, std::move(message), call.thread, done);
	}
}

} // namespace

SpiFiles::SpiFiles(Converters &converters, const BoardDescription &board,
		   const std::shared_ptr<Folder> &folder)
	: converters_(converters), board_(board), folder_(folder)
{
	ConverterListener listener;

	listener.plugged = [this](Converter &converter) { add(converter); };
	listener.unplugged = [this](Converter &converter) {
		folder_->drop(converter.device);
	};
	converters_.power_on(std::move(listener));
}

void SpiFiles::add(Converter &converter)
{
	auto file = folder_->add(
		converter.device,
		std::make_shared<SpiDevice>(converters_, converter));

	apply_udev_rule(*file, board_);
}

} // namespace simboard
