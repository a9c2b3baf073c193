#include "board-fixture.h"
#include "simboard/spi-files.h"

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <unistd.h>

#include <optional>

using namespace simboard;

namespace
{

class SpiFilesTest : public testing::Test
{
protected:
	SpiFilesTest()
	{
		converters_.set_level(adc_, 0x1f, 200, "front");
	}
	std::shared_ptr<File> find()
	{
		return std::dynamic_pointer_cast<File>(
			folder_->find("spidev0.1"));
	}
	std::unique_ptr<OpenFile> open()
	{
		std::unique_ptr<OpenFile> opened;

		EXPECT_EQ(find()->open(O_RDWR, find(), opened), 0);
		return opened;
	}
	/// Runs an ioctl to its end; the caller is this process.
	int ioctl(OpenFile &file, unsigned command, const void *argument)
	{
		std::optional<int> ended;

		file.ioctl({command,
			    {static_cast<const char *>(argument),
			     _IOC_SIZE(command)},
			    gettid(),
			    getpid()},
			   [&](int error, int result, const std::string &data) {
				   EXPECT_FALSE(ended);
				   ended = error;
				   result_ = result;
				   answer_ = data;
			   });
		while (!ended)
			g_main_context_iteration(nullptr, TRUE);
		return *ended;
	}

	BoardDescription board_ = describe_loops();
	History history_;
	Converters converters_{board_, history_};
	Converter &adc_ = *converters_.find("adc");
	std::shared_ptr<Folder> folder_ = std::make_shared<Folder>();
	SpiFiles files_{converters_, board_, folder_};
	int result_ = 0;
	std::string answer_;
	std::uint8_t sent_[2] = {0, 0x1f};
	std::uint8_t received_[2] = {};
	spi_ioc_transfer message_[2] = {
		{.tx_buf = reinterpret_cast<std::uintptr_t>(sent_), .len = 2},
		{.rx_buf = reinterpret_cast<std::uintptr_t>(received_),
		 .len = 2}};
};

} // namespace

TEST_F(SpiFilesTest, MeasuresOverTheCallersMemory)
{
	auto file = open();

	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(2), message_), 0);
	EXPECT_EQ(result_, 4);
	EXPECT_EQ(received_[0], 0x80);
	EXPECT_EQ(received_[1], 0x0c);
}

TEST_F(SpiFilesTest, MemoryOutOfReachIsAFault)
{
	auto file = open();

	message_[0].tx_buf = 1;
	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(2), message_), EFAULT);
	EXPECT_EQ(adc_.messages, 0u);
	message_[0].tx_buf = reinterpret_cast<std::uintptr_t>(sent_);
	message_[1].rx_buf = UINT64_MAX - 1;
	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(2), message_), EFAULT);
	EXPECT_EQ(adc_.messages, 1u);
}

TEST_F(SpiFilesTest, WhatIsOutOfReachIsSeenBeforeWhatIsTooBig)
{
	auto file = open();

	message_[1].len = 5000;
	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(2), message_), EMSGSIZE);
	message_[0].tx_buf = 1;
	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(2), message_), EFAULT);
	EXPECT_EQ(adc_.messages, 0u);
}

TEST_F(SpiFilesTest, AnEmptyMessageDoesNothing)
{
	auto file = open();

	converters_.set_fault(adc_, SpiAccess::TRANSFER, EIO);
	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(0), nullptr), 0);
	EXPECT_EQ(result_, 0);
	EXPECT_EQ(adc_.messages, 0u);
}

TEST_F(SpiFilesTest, ReadsAndWritesAreMessages)
{
	auto file = open();
	std::string data;

	EXPECT_EQ(file->write({"\0\x1f", 2}, DAEMON), 0);
	EXPECT_EQ(file->read(2, 0, data), 0);
	EXPECT_EQ(data, (std::string{'\x80', '\x0c'}));
	EXPECT_EQ(file->read(4097, 0, data), EMSGSIZE);
	EXPECT_EQ(file->write(std::string(4097, 'x'), DAEMON), EMSGSIZE);
	EXPECT_EQ(adc_.messages, 2u);
	EXPECT_FALSE(file->seekable());
}

TEST_F(SpiFilesTest, AnUnpluggedDeviceIsShutDownForWhoHasItOpen)
{
	auto file = open();
	std::shared_ptr<File> before = find();
	std::unique_ptr<OpenFile> opened;
	std::string data;

	converters_.set_plugged(adc_, false);
	EXPECT_EQ(find(), nullptr);
	EXPECT_EQ(before->open(O_RDWR, before, opened), ENXIO);
	converters_.set_plugged(adc_, true);
	auto fresh = open();
	EXPECT_EQ(ioctl(*file, SPI_IOC_MESSAGE(2), message_), ESHUTDOWN);
	EXPECT_EQ(ioctl(*file, SPI_IOC_RD_MODE, nullptr), ESHUTDOWN);
	EXPECT_EQ(ioctl(*file, _IO('j', 1), nullptr), ENOTTY);
	EXPECT_EQ(file->read(2, 0, data), ESHUTDOWN);
	EXPECT_EQ(file->write({"\0\x1f", 2}, DAEMON), ESHUTDOWN);
	file.reset();
	EXPECT_EQ(adc_.users, 1u) << "of the new device";
	EXPECT_EQ(ioctl(*fresh, SPI_IOC_MESSAGE(2), message_), 0);
}

TEST_F(SpiFilesTest, ADeviceMayGoWhileItsMessageIsOnTheWay)
{
	auto file = open();
	int ended = -1;

	file->ioctl(
		{SPI_IOC_MESSAGE(2),
		 {reinterpret_cast<const char *>(message_), sizeof(message_)},
		 gettid(),
		 getpid()},
		[&](int error, int, const std::string &) { ended = error; });
	converters_.set_plugged(adc_, false);
	file.reset();
	while (ended == -1)
		g_main_context_iteration(nullptr, TRUE);
	EXPECT_EQ(ended, ESHUTDOWN);
}

TEST_F(SpiFilesTest, OnlyRootAndTheGroupMayOpenIt)
{
	EXPECT_EQ(find()->mode, S_IFREG | 0600u);
	BoardDescription board = board_;
	board.has_group = true;
	board.group = 64124;
	auto folder = std::make_shared<Folder>();
	SpiFiles files(converters_, board, folder);
	EXPECT_EQ(folder->find("spidev0.1")->mode, S_IFREG | 0660u);
	EXPECT_EQ(folder->find("spidev0.1")->group, 64124u);
}
