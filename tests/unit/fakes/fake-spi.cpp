#include "fakes/fake-spi.h"

#include "fakes/recorder.h"

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <map>
#include <span>

namespace
{

constexpr guint16 kOtherBits = 0xf00f;
constexpr unsigned kFirstLevelBit = 4;

std::map<guint8, guint8> levels;
std::map<fake_spi::Call, int> errors;

std::string describe_settings(const spi_ioc_transfer &transfer)
{
	std::string text;
	for (const auto &[name, value] :
	     {std::pair("speed", transfer.speed_hz),
	      {"delay", guint32{transfer.delay_usecs}},
	      {"bits", guint32{transfer.bits_per_word}},
	      {"cs_change", guint32{transfer.cs_change}}})
		if (value != 0)
			text += std::string(" ") + name + " " +
				std::to_string(value);
	return text;
}

std::string describe(const spi_ioc_transfer &transfer)
{
	std::string text;
	if (transfer.tx_buf != 0) {
		text = "tx";
		const auto *bytes =
			reinterpret_cast<const guint8 *>(transfer.tx_buf);
		for (const guint8 byte : std::span(bytes, transfer.len)) {
			char digits[sizeof " ff"];
			g_snprintf(digits, sizeof digits, " %02x", byte);
			text += digits;
		}
	}
	if (transfer.rx_buf != 0)
		text += "rx " + std::to_string(transfer.len);
	return text + describe_settings(transfer);
}

/// The second byte sent selects what the converter answers.
void answer(std::span<const spi_ioc_transfer> transfers)
{
	guint8 address = 0;
	for (const spi_ioc_transfer &transfer : transfers) {
		if (transfer.tx_buf != 0)
			address = reinterpret_cast<const guint8 *>(
				transfer.tx_buf)[1];
		if (transfer.rx_buf == 0)
			continue;
		const unsigned word = unsigned{levels[address]}
					      << kFirstLevelBit |
				      kOtherBits;
		auto *bytes = reinterpret_cast<guint8 *>(transfer.rx_buf);
		bytes[0] = word & 0xff;
		bytes[1] = word >> 8;
	}
}

int result(fake_spi::Call call)
{
	errno = errors[call];
	return errno == 0 ? 0 : -1;
}

int message(std::span<const spi_ioc_transfer> transfers)
{
	std::string text;
	for (const spi_ioc_transfer &transfer : transfers)
		text += (text.empty() ? "" : ", ") + describe(transfer);
	recorder::note("message(%s)", text.c_str());
	const int status = result(fake_spi::Call::MESSAGE);
	if (status == 0)
		answer(transfers);
	return status;
}

int set(fake_spi::Call call, const char *name, unsigned value)
{
	recorder::note("%s(%u)", name, value);
	return result(call);
}

} // namespace

namespace fake_spi
{

void reset()
{
	levels.clear();
	errors.clear();
}

void set_level(guint8 address, guint8 level)
{
	levels[address] = level;
}

void fail(Call call, int error)
{
	errors[call] = error;
}

} // namespace fake_spi

/// In place of the C library's.
int ioctl(int fd, unsigned long request, ...)
{
	va_list arguments;
	va_start(arguments, request);
	void *argument = va_arg(arguments, void *);
	va_end(arguments);
	if (fcntl(fd, F_GETFD) == -1)
		return -1;
	switch (request) {
	case SPI_IOC_MESSAGE(2):
		return message(std::span(
			static_cast<spi_ioc_transfer *>(argument), 2));
	case SPI_IOC_WR_BITS_PER_WORD:
		return set(fake_spi::Call::BITS_PER_WORD, "bits",
			   *static_cast<guint8 *>(argument));
	case SPI_IOC_WR_MAX_SPEED_HZ:
		return set(fake_spi::Call::MAX_SPEED, "speed",
			   *static_cast<guint32 *>(argument));
	default:
		return static_cast<int>(
			syscall(SYS_ioctl, fd, request, argument));
	}
}
