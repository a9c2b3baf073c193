#pragma once

/// The kernel's side of an SPI converter, recorded. Any open file will do as
/// the device. Settings are recorded as "bits(16)" and "speed(500000)", a
/// message as "message(tx 00 1f, rx 2)"; what a transfer sets besides is added
/// to it.

#include <glib.h>

namespace fake_spi
{

/// Forgets the levels and the faults.
void reset();

/// What the converter answers at that address; 0 elsewhere. Bits that do not
/// belong to the level are set.
void set_level(guint8 address, guint8 level);

enum class Call { MESSAGE, BITS_PER_WORD, MAX_SPEED };

/// Such calls fail with that errno, until 0 is given.
void fail(Call call, int error);

} // namespace fake_spi
