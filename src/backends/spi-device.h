#pragma once

/// An analogue-to-digital converter on an SPI bus, reached through the kernel's
/// spidev (Documentation/spi/spidev.rst, linux/spi/spidev.h).

#include "util/unique-fd.h"

#include <glib.h>

#include <string>

/// One converter. A call that fails leaves the reason in errno. One thread at a
/// time.
class SpiDevice
{
public:
	/// Opens the device file; @p flags is O_RDONLY or O_RDWR. What was open
	/// is closed first.
	bool open(const std::string &path, int flags);
	/// Measurements fail from now on, as on a closed descriptor.
	void close();
	bool is_open() const
	{
		return fd_.valid();
	}

	bool set_bits_per_word(guint8 bits);
	/// @p speed in Hz.
	bool set_max_speed(guint32 speed);

	/// Asks the converter for the level at @p address, whose low byte
	/// counts. The level has 8 bits; 0 when the transfer failed.
	bool measure(guint32 address, guint32 *level);

private:
	util::UniqueFd fd_;
};
