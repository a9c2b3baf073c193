#pragma once

/// The board as rows of fields with tabs between them, for "state" and what is
/// made from it. The first field says what the row is about.

#include "loops.h"

namespace simboard
{

/// The fields of a row about a line, in their order. Fields that have nothing
/// to say are "-".
enum LineField : std::size_t {
	FIELD_KIND, ///< "line"; "board" in the one row that has just a name.
	FIELD_NUMBER,
	FIELD_NAME,
	FIELD_CHIP,
	FIELD_WIRING,
	FIELD_DIRECTION,
	FIELD_LEVEL,
	/// Who drives it: daemon, board, idle, boot (the boot loader) or
	/// another line.
	FIELD_DRIVER,
	FIELD_FOLDER,
	FIELD_EDGE,
	FIELD_ACTIVE_LOW, ///< 0 or 1
	FIELD_NOTE,       ///< Faults, unplugged.
	LINE_FIELDS
};

/// The same of a converter.
enum ConverterField : std::size_t {
	CONVERTER_KIND, ///< "converter"
	CONVERTER_NAME,
	CONVERTER_DEVICE,
	CONVERTER_MODE,
	CONVERTER_BITS,
	CONVERTER_SPEED,     ///< In Hz.
	CONVERTER_USERS,     ///< How often it is open.
	CONVERTER_MESSAGES,  ///< How many have reached it since power-on.
	CONVERTER_TRANSFERS, ///< In those messages.
	CONVERTER_SELECTED,  ///< Address of the channel.
	CONVERTER_NOTE,      ///< Faults, unplugged.
	CONVERTER_FIELDS
};

/// The same of a loop.
enum LoopField : std::size_t {
	LOOP_KIND, ///< "loop"
	LOOP_NAME,
	LOOP_CONVERTER,
	LOOP_ADDRESS,
	LOOP_STATE,
	LOOP_LEVEL,
	LOOP_READINGS, ///< How often its level was read since power-on.
	LOOP_LINE,
	LOOP_FULL_SCALE, ///< The level of nothing there.
	LOOP_FIELDS
};

/// The same of a device of the kernel's Industrial I/O.
enum IioField : std::size_t {
	IIO_KIND, ///< "iio"
	IIO_NAME,
	IIO_NAME_ATTRIBUTE,
	IIO_DEVICE,    ///< "iio:device0"
	IIO_TRIGGER,   ///< Name of the one that it uses.
	IIO_RUNNING,   ///< 0 or 1: the buffer is enabled.
	IIO_LENGTH,    ///< Of the buffer, in scans.
	IIO_WAITING,   ///< Scans in the buffer.
	IIO_SCANS,     ///< Since power-on.
	IIO_LOST,      ///< Of those, for want of room.
	IIO_OPEN,      ///< 0 or 1
	IIO_LISTENING, ///< 0 or 1: the event descriptor is open.
	IIO_NOTE,      ///< Faults, unplugged.
	IIO_FIELDS
};

/// The same of a channel of such a device.
enum ChannelField : std::size_t {
	CHANNEL_KIND, ///< "channel"
	CHANNEL_NAME, ///< DEVICE/NUMBER
	CHANNEL_FILE, ///< "in_voltage2"
	CHANNEL_VALUE,
	CHANNEL_SCANNED, ///< 0 or 1
	CHANNEL_RISING,  ///< The threshold; nothing without thresholds.
	CHANNEL_FALLING,
	CHANNEL_ENABLED, ///< The events: rising, falling or both.
	CHANNEL_EVENTS,  ///< How often a threshold was crossed.
	CHANNEL_READINGS,
	CHANNEL_LOOP,
	CHANNEL_FIELDS
};

/// The same of a trigger.
enum TriggerField : std::size_t {
	TRIGGER_KIND, ///< "trigger"
	TRIGGER_NAME,
	TRIGGER_FOLDER,
	TRIGGER_FREQUENCY, ///< In Hz.
	TRIGGER_USERS,     ///< Devices whose buffer it fills.
	TRIGGER_FIELDS
};

std::string board_row(const std::string &name);
std::string line_row(const Line &line);
std::string converter_row(const Converter &converter);
std::string loop_row(const Loop &loop);
std::string iio_row(const IioDevice &device);
std::string channel_row(const IioChannel &channel);
std::string trigger_row(const IioTrigger &trigger);

/// Whether there is more to a line than that it exists.
bool is_of_interest(const Line &line);

} // namespace simboard
