#include "converters.h"

#include "numbers.h"

#include <linux/spi/spi.h>

#include <cerrno>

namespace simboard
{

namespace
{

constexpr unsigned LEAST_BITS = 4;
constexpr unsigned MOST_BITS = 32;
constexpr unsigned USUAL_BITS = 8;
constexpr unsigned MODES = SPI_MODE_X_MASK | SPI_CS_HIGH | SPI_LSB_FIRST;

/// More than one wire: unknown to the controller, which ignores it.
constexpr unsigned SENDING_WIRES = SPI_TX_DUAL | SPI_TX_QUAD | SPI_TX_OCTAL;
constexpr unsigned RECEIVING_WIRES = SPI_RX_DUAL | SPI_RX_QUAD | SPI_RX_OCTAL;

bool has_both(unsigned mode, unsigned bits)
{
	return (mode & bits) == bits;
}

bool fits_controller(unsigned bits)
{
	return bits >= LEAST_BITS && bits <= MOST_BITS;
}

/// Bytes that a word takes in memory.
unsigned bytes_of(unsigned bits)
{
	if (bits <= 8)
		return 1;
	return bits <= 16 ? 2 : 4;
}

/// __spi_validate() of the kernel.
bool is_valid(const SpiTransfer &transfer, const SpiSettings &settings)
{
	unsigned bits = transfer.bits != 0 ? transfer.bits : settings.bits;

	return fits_controller(bits) && transfer.length % bytes_of(bits) == 0 &&
	       (!transfer.sent || transfer.sending_wires <= 1) &&
	       (!transfer.receives || transfer.receiving_wires <= 1);
}

void run(Adc &adc, SpiTransfer &transfer)
{
	// Without any data it may be as long as an int goes, and what counts is
	// whether it ends within a word.
	if (!transfer.sent && !transfer.receives) {
		if (transfer.length % 2 != 0)
			adc.exchange(std::nullopt, false);
		return;
	}
	for (std::size_t i = 0; i < transfer.length; ++i) {
		std::optional<std::uint8_t> sent;
		if (transfer.sent)
			sent = static_cast<std::uint8_t>((*transfer.sent)[i]);
		auto answer = adc.exchange(sent, transfer.receives);
		if (transfer.receives)
			transfer.received += static_cast<char>(answer);
	}
}

} // namespace

Converters::Converters(const BoardDescription &description, History &history)
	: history_(history)
{
	for (const ConverterDescription &one : description.converters) {
		Converter &converter = converters_[one.name];
		converter.name = one.name;
		converter.device = one.device;
	}
}

void Converters::power_on(ConverterListener listener)
{
	listener_ = std::move(listener);
	for (auto &[name, converter] : converters_)
		listener_.plugged(converter);
}

Converter *Converters::find(const std::string &name)
{
	auto place = converters_.find(name);

	return place == converters_.end() ? nullptr : &place->second;
}

void Converters::record(const Converter &converter, What what,
			const std::string &value, Actor actor)
{
	history_.record(std::nullopt, converter.name, what, value, actor);
}

int Converters::open(Converter &converter)
{
	int fault = converter.faults.of(SpiAccess::OPEN);

	if (fault == 0)
		++converter.users;
	return fault;
}

void Converters::close(Converter &converter)
{
	// The last one takes the speed along, and nothing else
	// (spidev_release).
	if (--converter.users == 0)
		converter.settings.speed = SpiSettings().speed;
}

int Converters::set_mode(Converter &converter, unsigned mode, Actor actor)
{
	if (has_both(mode, SPI_TX_DUAL | SPI_TX_QUAD) ||
	    has_both(mode, SPI_RX_DUAL | SPI_RX_QUAD))
		return EINVAL;
	mode &= ~(SENDING_WIRES | RECEIVING_WIRES);
	if (mode & ~MODES)
		return EINVAL;
	converter.settings.mode = mode;
	record(converter, What::SETTING, "mode:" + std::to_string(mode), actor);
	return 0;
}

int Converters::set_lsb_first(Converter &converter, unsigned on, Actor actor)
{
	unsigned others = converter.settings.mode & ~SPI_LSB_FIRST;

	return set_mode(converter, others | (on ? SPI_LSB_FIRST : 0), actor);
}

int Converters::set_bits(Converter &converter, unsigned bits, Actor actor)
{
	if (bits == 0)
		bits = USUAL_BITS;
	if (!fits_controller(bits))
		return EINVAL;
	converter.settings.bits = bits;
	record(converter, What::SETTING, "bits:" + std::to_string(bits), actor);
	return 0;
}

int Converters::set_speed(Converter &converter, unsigned speed, Actor actor)
{
	if (speed == 0)
		return EINVAL;
	converter.settings.speed = speed;
	record(converter, What::SETTING, "speed:" + std::to_string(speed),
	       actor);
	return 0;
}

int Converters::exchange(Converter &converter,
			 std::vector<SpiTransfer> &message)
{
	for (const SpiTransfer &transfer : message)
		if (!is_valid(transfer, converter.settings))
			return EINVAL;
	int fault = converter.faults.of(SpiAccess::TRANSFER);
	if (fault != 0)
		return fault;
	++converter.messages;
	converter.transfers += message.size();
	converter.adc.select();
	for (SpiTransfer &transfer : message) {
		run(converter.adc, transfer);
		if (transfer.deselects)
			converter.adc.select();
	}
	return 0;
}

void Converters::set_fault(Converter &converter, SpiAccess access, int number)
{
	converter.faults.set(access, number);
	record(converter, What::FAULT, fault_text(access, number), BOARD);
}

void Converters::set_plugged(Converter &converter, bool plugged)
{
	if (converter.plugged == plugged)
		return;
	converter.plugged = plugged;
	converter.users = 0;
	converter.settings = {};
	record(converter, plugged ? What::PLUGGED : What::UNPLUGGED,
	       "converter", BOARD);
	(plugged ? listener_.plugged : listener_.unplugged)(converter);
}

void Converters::set_level(Converter &converter, unsigned address,
			   unsigned level, const std::string &loop)
{
	std::string text = std::to_string(level);

	if (converter.adc.level(address) == level)
		return;
	converter.adc.set_level(address, level);
	if (loop.empty())
		record(converter, What::LEVEL,
		       address_text(address) + ":" + text, BOARD);
	else
		history_.record(std::nullopt, loop, What::LEVEL, text, BOARD);
}

} // namespace simboard
