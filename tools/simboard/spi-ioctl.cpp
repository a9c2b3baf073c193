#include "spi-ioctl.h"

#include <linux/spi/spidev.h>

#include <climits>
#include <cstring>

namespace simboard
{

namespace
{

/// Each transfer's data begins where the kernel's memory manager would begin
/// (ARCH_KMALLOC_MINALIGN).
constexpr std::uint64_t ALIGNMENT = 8;

std::size_t aligned(std::uint32_t length)
{
	return (length + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

SpiTransfer transfer_of(const spi_ioc_transfer &from)
{
	SpiTransfer transfer;

	transfer.length = from.len;
	transfer.receives = from.rx_buf != 0;
	transfer.bits = from.bits_per_word;
	transfer.sending_wires = from.tx_nbits;
	transfer.receiving_wires = from.rx_nbits;
	transfer.deselects = from.cs_change != 0;
	if (from.tx_buf != 0)
		transfer.sent = "";
	return transfer;
}

/// The room that a message takes, as spidev_message() counts it.
class Room
{
public:
	/// Whether there is room for the next transfer.
	bool add(const spi_ioc_transfer &transfer)
	{
		total_ += transfer.len;
		received_ += transfer.rx_buf != 0 ? aligned(transfer.len) : 0;
		sent_ += transfer.tx_buf != 0 ? aligned(transfer.len) : 0;
		return total_ <= INT_MAX && received_ <= SPI_BUFFER_SIZE &&
		       sent_ <= SPI_BUFFER_SIZE;
	}
	int total() const
	{
		return static_cast<int>(total_);
	}

private:
	std::uint64_t total_ = 0;
	std::uint64_t received_ = 0;
	std::uint64_t sent_ = 0;
};

void decode_transfers(const std::vector<spi_ioc_transfer> &transfers,
		      SpiMessage &message)
{
	Room room;

	for (const spi_ioc_transfer &from : transfers) {
		if (!room.add(from)) {
			message.error = EMSGSIZE;
			return;
		}
		if (from.tx_buf != 0)
			message.sources.push_back(
				{from.tx_buf, std::string(from.len, '\0')});
		if (from.rx_buf != 0)
			message.targets.push_back({from.rx_buf, ""});
		message.transfers.push_back(transfer_of(from));
	}
	message.total = room.total();
}

// ---- settings ----

/// Either is null; a value has the size that the command says.
struct Setting {
	unsigned command;
	unsigned (*get)(const SpiSettings &settings);
	int (Converters::*set)(Converter &converter, unsigned value,
			       Actor actor);
};

unsigned get_mode(const SpiSettings &settings)
{
	return settings.mode;
}

unsigned get_lsb_first(const SpiSettings &settings)
{
	return (settings.mode & SPI_LSB_FIRST) != 0;
}

unsigned get_bits(const SpiSettings &settings)
{
	return settings.bits;
}

unsigned get_speed(const SpiSettings &settings)
{
	return settings.speed;
}

constexpr Setting SETTINGS[] = {
	{SPI_IOC_RD_MODE, get_mode, nullptr},
	{SPI_IOC_WR_MODE, nullptr, &Converters::set_mode},
	{SPI_IOC_RD_MODE32, get_mode, nullptr},
	{SPI_IOC_WR_MODE32, nullptr, &Converters::set_mode},
	{SPI_IOC_RD_LSB_FIRST, get_lsb_first, nullptr},
	{SPI_IOC_WR_LSB_FIRST, nullptr, &Converters::set_lsb_first},
	{SPI_IOC_RD_BITS_PER_WORD, get_bits, nullptr},
	{SPI_IOC_WR_BITS_PER_WORD, nullptr, &Converters::set_bits},
	{SPI_IOC_RD_MAX_SPEED_HZ, get_speed, nullptr},
	{SPI_IOC_WR_MAX_SPEED_HZ, nullptr, &Converters::set_speed},
};

/// In the caller's byte order, which is ours.
unsigned value_of(std::string_view argument)
{
	std::uint8_t byte = 0;
	std::uint32_t word = 0;

	if (argument.size() == sizeof(word)) {
		memcpy(&word, argument.data(), sizeof(word));
		return word;
	}
	memcpy(&byte, argument.data(), sizeof(byte));
	return byte;
}

std::string bytes_of(unsigned value, std::size_t size)
{
	std::uint32_t word = value;
	auto byte = static_cast<char>(value);

	if (size == sizeof(word))
		return {reinterpret_cast<const char *>(&word), sizeof(word)};
	return {&byte, sizeof(byte)};
}

const Setting *find_setting(unsigned command)
{
	for (const Setting &setting : SETTINGS)
		if (setting.command == command)
			return &setting;
	return nullptr;
}

} // namespace

int decode_message(const IoctlCall &call, SpiMessage &message)
{
	if (_IOC_TYPE(call.command) != SPI_IOC_MAGIC ||
	    _IOC_NR(call.command) != _IOC_NR(SPI_IOC_MESSAGE(0)) ||
	    _IOC_DIR(call.command) != _IOC_WRITE)
		return ENOTTY;
	if (call.argument.size() % sizeof(spi_ioc_transfer) != 0)
		return EINVAL;
	std::vector<spi_ioc_transfer> transfers(call.argument.size() /
						sizeof(spi_ioc_transfer));
	if (!transfers.empty())
		memcpy(transfers.data(), call.argument.data(),
		       call.argument.size());
	decode_transfers(transfers, message);
	return 0;
}

int run_setting(Converters &converters, Converter &converter,
		const IoctlCall &call, std::string &answer)
{
	const Setting *setting = find_setting(call.command);
	int fault = converter.faults.of(SpiAccess::IOCTL);

	if (!setting)
		return ENOTTY;
	if (fault != 0)
		return fault;
	if (setting->set)
		return (converters.*setting->set)(
			converter, value_of(call.argument), call.process);
	answer = bytes_of(setting->get(converter.settings),
			  _IOC_SIZE(call.command));
	return 0;
}

} // namespace simboard
