#pragma once

/// What a line can be, and the words for it in the board file, in the kernel's
/// files, in commands and in the history.

#include <optional>
#include <string>
#include <string_view>

namespace simboard
{

/// The voltage on a line, whatever it means.
enum class Level { LOW, HIGH };

enum class Direction { IN, OUT };

/// The changes of the value that poll on a value file reports.
enum class Edge { NONE, RISING, FALLING, BOTH };

/// What is connected to a line.
enum class Wiring { BUTTON, DOOR_CONTACT, RELAY, CONTROL, WIRE };

/// The ways in which a line's files are used; each can be made to fail.
enum class Access { READ, WRITE, EXPORT };
constexpr std::size_t ACCESS_COUNT = 3;

/// The same for a converter's device; IOCTL is all but transfers.
enum class SpiAccess { TRANSFER, IOCTL, OPEN };
constexpr std::size_t SPI_ACCESS_COUNT = 3;

/// The same for a device of the kernel's Industrial I/O: READ reads samples,
/// EVENT reads events, ATTRIBUTE uses attributes in any way, WRITE writes them,
/// IOCTL asks for the event descriptor.
enum class IioAccess { READ, EVENT, ATTRIBUTE, WRITE, IOCTL, OPEN };
constexpr std::size_t IIO_ACCESS_COUNT = 6;

/// The thresholds that a device has for each channel, and how they are enabled:
/// one by one, both at once, or just one of them.
enum class ThresholdKind { NONE, BOTH, EITHER, ONE };

enum class Endianness { LITTLE, BIG };

/// What the contact of an alarm loop does when nobody touches it.
enum class LoopWiring { NORMALLY_CLOSED, NORMALLY_OPEN };

/// The contact's state, or what was done to the wires.
enum class LoopState { OPEN, CLOSED, SHORT, CUT };

const char *word(Level level);
const char *word(Direction direction);
const char *word(Edge edge);
const char *word(Wiring wiring);
const char *word(Access access);
const char *word(SpiAccess access);
const char *word(IioAccess access);
const char *word(ThresholdKind kind);
const char *word(LoopWiring wiring);
const char *word(LoopState state);

/// The meaning of a word; none when it has no such meaning.
std::optional<Level> level_from_word(std::string_view text);
std::optional<Direction> direction_from_word(std::string_view text);
std::optional<Edge> edge_from_word(std::string_view text);
std::optional<Wiring> wiring_from_word(std::string_view text);
std::optional<Access> access_from_word(std::string_view text);
std::optional<SpiAccess> spi_access_from_word(std::string_view text);
std::optional<IioAccess> iio_access_from_word(std::string_view text);
std::optional<ThresholdKind> threshold_kind_from_word(std::string_view text);
std::optional<Endianness> endianness_from_word(std::string_view text);
std::optional<LoopWiring> loop_wiring_from_word(std::string_view text);
std::optional<LoopState> loop_state_from_word(std::string_view text);

/// All words of a kind, for messages: "high or low".
std::string level_words();
std::string direction_words();
std::string wiring_words();
std::string access_words();
std::string spi_access_words();
std::string iio_access_words();
std::string threshold_kind_words();
std::string endianness_words();
std::string loop_wiring_words();

constexpr Level opposite(Level level)
{
	return level == Level::LOW ? Level::HIGH : Level::LOW;
}

} // namespace simboard
