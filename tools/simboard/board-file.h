#pragma once

/// The board file: a key file that says what is on a board. Its reference is
/// docs/simulated-board.md.

#include "circuit.h"
#include "iio-scan.h"

#include <glib.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace simboard
{

struct ChipDescription {
	std::string name;
	unsigned base = 0;  ///< Number of its first line.
	unsigned lines = 0; ///< How many it has.
	std::string label;
};

struct LineDescription {
	std::string name;
	unsigned number = 0;
	Wiring wiring = Wiring::WIRE;
	Level idle = Level::LOW;
	std::string folder;  ///< Where firmware exports it; empty: it does not.
	std::string follows; ///< Name of the line it is wired to, or empty.
	/// As the boot loader has left it; an output has the level idle.
	Direction direction = Direction::IN;
};

struct ConverterDescription {
	std::string name;
	std::string device; ///< Name of its file in /dev.
};

/// A device of the kernel's Industrial I/O.
struct IioDescription {
	std::string name;
	std::string iio_name; ///< In its attribute "name".
	ScanType scan;
	std::string type; ///< What the type attributes show.
	bool has_buffer = true;
	ThresholdKind thresholds = ThresholdKind::NONE;
	/// What a loop that is cut measures, at most MOST_FULL_SCALE.
	unsigned full_scale = 0;
	/// Attributes that hold a number, by their path in the device's folder.
	std::vector<std::string> attributes;
};

struct IioChannelDescription {
	std::string name;      ///< DEVICE/NUMBER
	std::string device;    ///< What is before the slash.
	unsigned number = 0;   ///< Its address, and that in its events.
	std::string attribute; ///< As its files have it: "voltage2".
	std::string extension; ///< After that, or empty.
	gint64 value = 0;
};

struct LoopDescription {
	std::string name;
	std::string converter; ///< That measures it.
	unsigned address = 0;  ///< Of the converter's channel.
	Circuit circuit;
	std::string line; ///< That reads the same contact, or empty.
};

struct BoardDescription {
	std::string name;
	bool has_group = false;
	gid_t group = 0; ///< Of the files, when has_group.
	/// How long after an export its files appear, and how long after that
	/// they get their group.
	unsigned attribute_delay_ms = 0;
	unsigned group_delay_ms = 0;
	std::vector<ChipDescription> chips;
	std::vector<LineDescription> lines;
	std::vector<ConverterDescription> converters;
	std::vector<LoopDescription> loops;
	std::vector<IioDescription> iio;
	std::vector<IioChannelDescription> channels;
};

/// Reads the file. False with a usage error set, which names the file and,
/// where there is one, the group and the key, when anything in it is wrong.
bool read_board_file(const char *path, BoardDescription &board, GError **error);

/// The same for text that was read from path.
bool parse_board(const std::string &text, const char *path,
		 BoardDescription &board, GError **error);

} // namespace simboard
