#pragma once

/// The model of the board's converters: the chips, and what a kernel lets a
/// user do with them through spidev. Knows no files. Belongs to the main loop's
/// thread.
///
/// The rules are those of Linux 6.1, drivers/spi/spidev.c and spi.c, with a
/// controller that has words of 4 to 32 bits, every speed, and the modes 0 to 3
/// with SPI_CS_HIGH and SPI_LSB_FIRST; errors are errno numbers, 0 is success.

#include "adc.h"
#include "board-file.h"
#include "faults.h"
#include "history.h"

#include <map>

namespace simboard
{

struct SpiSettings {
	unsigned mode = 0;
	unsigned bits = 8;         ///< In a word.
	unsigned speed = 10000000; ///< In Hz.
};

/// One transfer of a message.
struct SpiTransfer {
	std::size_t length = 0; ///< In bytes.
	/// length bytes; none: nothing drives the line.
	std::optional<std::string> sent;
	bool receives = false;
	std::string received; ///< The answer, when it receives.
	unsigned bits = 0;    ///< In a word; 0: the settings'.
	/// On how many wires; 0 is one.
	unsigned sending_wires = 0;
	unsigned receiving_wires = 0;
	bool deselects = false; ///< Between this one and the next.
};

/// A converter, for reading; Converters changes it.
struct Converter {
	std::string name;
	std::string device; ///< Name of its file.
	bool plugged = true;
	unsigned users = 0; ///< How often it is open.
	SpiSettings settings;
	Faults<SpiAccess, SPI_ACCESS_COUNT> faults;
	guint64 messages = 0; ///< That have reached it.
	guint64 transfers = 0;
	Adc adc;
};

/// Whom the model tells which devices there are.
struct ConverterListener {
	std::function<void(Converter &)> plugged;
	std::function<void(Converter &)> unplugged;
};

class Converters
{
public:
	/// @param history must outlive this.
	Converters(const BoardDescription &description, History &history);
	Converters(const Converters &) = delete;
	Converters &operator=(const Converters &) = delete;

	/// Tells the listener of every converter.
	void power_on(ConverterListener listener);

	std::map<std::string, Converter> &all()
	{
		return converters_;
	}
	/// Null when there is none of that name.
	Converter *find(const std::string &name);

	/// What a user of the kernel's files does. EINVAL: the controller
	/// cannot do that.
	int open(Converter &converter);
	void close(Converter &converter);
	int set_mode(Converter &converter, unsigned mode, Actor actor);
	int set_lsb_first(Converter &converter, unsigned on, Actor actor);
	/// @param bits 0 means 8.
	int set_bits(Converter &converter, unsigned bits, Actor actor);
	int set_speed(Converter &converter, unsigned speed, Actor actor);
	/// Nothing else reaches the chip between the transfers of a message.
	int exchange(Converter &converter, std::vector<SpiTransfer> &message);

	/// @param number an errno, or 0 to make the access work again.
	void set_fault(Converter &converter, SpiAccess access, int number);
	/// Takes it from its driver, or gives it back, with the settings of
	/// power-on; nothing when it is so already.
	void set_plugged(Converter &converter, bool plugged);
	/// Sets a channel's level.
	/// @param loop name of what is connected to it, or empty.
	void set_level(Converter &converter, unsigned address, unsigned level,
		       const std::string &loop);

private:
	void record(const Converter &converter, What what,
		    const std::string &value, Actor actor);

	History &history_;
	ConverterListener listener_;
	std::map<std::string, Converter> converters_;
};

} // namespace simboard
