#include "backends/spi-device.h"

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>

#include <array>

namespace
{

using Word = std::array<guint8, 2>;

/// The level is bits 4 to 11 of the answer, a little-endian word.
guint32 level_of(const Word &answer)
{
	constexpr unsigned kFirstBit = 4;
	constexpr unsigned kMask = 0xff;
	const unsigned word = answer[0] | unsigned{answer[1]} << 8;
	return word >> kFirstBit & kMask;
}

guint64 pointer(const void *buffer)
{
	return reinterpret_cast<uintptr_t>(buffer);
}

} // namespace

/// The path may lead to anything, which must not hold the daemon up.
bool SpiDevice::open(const std::string &path, int flags)
{
	close();
	fd_.reset(::open(path.c_str(),
			 flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
	return is_open();
}

void SpiDevice::close()
{
	fd_.reset();
}

bool SpiDevice::set_bits_per_word(guint8 bits)
{
	return ioctl(fd_.get(), SPI_IOC_WR_BITS_PER_WORD, &bits) != -1;
}

bool SpiDevice::set_max_speed(guint32 speed)
{
	return ioctl(fd_.get(), SPI_IOC_WR_MAX_SPEED_HZ, &speed) != -1;
}

/// Without a speed, a delay and a word size of its own, a transfer has the
/// device's.
bool SpiDevice::measure(guint32 address, guint32 *level)
{
	const Word command = {0, static_cast<guint8>(address)};
	Word answer = {};
	std::array<spi_ioc_transfer, 2> transfers = {};
	transfers[0].tx_buf = pointer(command.data());
	transfers[0].len = command.size();
	transfers[1].rx_buf = pointer(answer.data());
	transfers[1].len = answer.size();
	const bool done =
		ioctl(fd_.get(), SPI_IOC_MESSAGE(2), transfers.data()) != -1;
	*level = done ? level_of(answer) : 0;
	return done;
}
