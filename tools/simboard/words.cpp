#include "words.h"

#include <span>

namespace simboard
{

namespace
{

// Each in the order of its enumerators.
constexpr const char *LEVELS[] = {"low", "high"};
constexpr const char *DIRECTIONS[] = {"in", "out"};
constexpr const char *EDGES[] = {"none", "rising", "falling", "both"};
constexpr const char *WIRINGS[] = {"button", "door contact", "relay", "control",
				   "wire"};
constexpr const char *ACCESSES[] = {"read", "write", "export"};
static_assert(std::size(ACCESSES) == ACCESS_COUNT);
constexpr const char *SPI_ACCESSES[] = {"transfer", "ioctl", "open"};
static_assert(std::size(SPI_ACCESSES) == SPI_ACCESS_COUNT);
constexpr const char *IIO_ACCESSES[] = {"read",  "event", "attribute",
					"write", "ioctl", "open"};
static_assert(std::size(IIO_ACCESSES) == IIO_ACCESS_COUNT);
constexpr const char *THRESHOLD_KINDS[] = {"none", "both", "either", "one"};
constexpr const char *ENDIANNESSES[] = {"le", "be"};
constexpr const char *LOOP_WIRINGS[] = {"normally closed", "normally open"};
constexpr const char *LOOP_STATES[] = {"open", "closed", "short", "cut"};

using Words = std::span<const char *const>;

template <typename T> const char *find_word(Words words, T value)
{
	return words[static_cast<std::size_t>(value)];
}

template <typename T>
std::optional<T> find_value(Words words, std::string_view text)
{
	for (std::size_t i = 0; i < words.size(); ++i)
		if (text == words[i])
			return static_cast<T>(i);
	return std::nullopt;
}

std::string list_words(Words words)
{
	std::string list = words.front();

	for (std::size_t i = 1; i < words.size(); ++i) {
		list += i + 1 == words.size() ? " or " : ", ";
		list += words[i];
	}
	return list;
}

} // namespace

const char *word(Level level)
{
	return find_word(LEVELS, level);
}

const char *word(Direction direction)
{
	return find_word(DIRECTIONS, direction);
}

const char *word(Edge edge)
{
	return find_word(EDGES, edge);
}

const char *word(Wiring wiring)
{
	return find_word(WIRINGS, wiring);
}

const char *word(Access access)
{
	return find_word(ACCESSES, access);
}

const char *word(SpiAccess access)
{
	return find_word(SPI_ACCESSES, access);
}

const char *word(IioAccess access)
{
	return find_word(IIO_ACCESSES, access);
}

const char *word(ThresholdKind kind)
{
	return find_word(THRESHOLD_KINDS, kind);
}

const char *word(LoopWiring wiring)
{
	return find_word(LOOP_WIRINGS, wiring);
}

const char *word(LoopState state)
{
	return find_word(LOOP_STATES, state);
}

std::optional<Level> level_from_word(std::string_view text)
{
	return find_value<Level>(LEVELS, text);
}

std::optional<Direction> direction_from_word(std::string_view text)
{
	return find_value<Direction>(DIRECTIONS, text);
}

std::optional<Edge> edge_from_word(std::string_view text)
{
	return find_value<Edge>(EDGES, text);
}

std::optional<Wiring> wiring_from_word(std::string_view text)
{
	return find_value<Wiring>(WIRINGS, text);
}

std::optional<Access> access_from_word(std::string_view text)
{
	return find_value<Access>(ACCESSES, text);
}

std::optional<SpiAccess> spi_access_from_word(std::string_view text)
{
	return find_value<SpiAccess>(SPI_ACCESSES, text);
}

std::optional<IioAccess> iio_access_from_word(std::string_view text)
{
	return find_value<IioAccess>(IIO_ACCESSES, text);
}

std::optional<ThresholdKind> threshold_kind_from_word(std::string_view text)
{
	return find_value<ThresholdKind>(THRESHOLD_KINDS, text);
}

std::optional<Endianness> endianness_from_word(std::string_view text)
{
	return find_value<Endianness>(ENDIANNESSES, text);
}

std::optional<LoopWiring> loop_wiring_from_word(std::string_view text)
{
	return find_value<LoopWiring>(LOOP_WIRINGS, text);
}

std::optional<LoopState> loop_state_from_word(std::string_view text)
{
	return find_value<LoopState>(LOOP_STATES, text);
}

std::string level_words()
{
	return list_words(LEVELS);
}

std::string direction_words()
{
	return list_words(DIRECTIONS);
}

std::string wiring_words()
{
	return list_words(WIRINGS);
}

std::string access_words()
{
	return list_words(ACCESSES);
}

std::string spi_access_words()
{
	return list_words(SPI_ACCESSES);
}

std::string iio_access_words()
{
	return list_words(IIO_ACCESSES);
}

std::string threshold_kind_words()
{
	return list_words(THRESHOLD_KINDS);
}

std::string endianness_words()
{
	return list_words(ENDIANNESSES);
}

std::string loop_wiring_words()
{
	return list_words(LOOP_WIRINGS);
}

} // namespace simboard
