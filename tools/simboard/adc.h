#pragma once

/// An analogue-to-digital converter as its bus sees it: 256 channels of 8 bits.
///
/// It exchanges words of 16 bits, the low byte first. The high byte of a word
/// that it is sent selects the channel that the following words answer with,
/// their level at bits 4 to 11. A channel that nothing is connected to is 0.

#include <array>
#include <cstdint>
#include <optional>

namespace simboard
{

class Adc
{
public:
	static constexpr unsigned HIGHEST_LEVEL = 255;
	static constexpr unsigned HIGHEST_ADDRESS = 255;

	void set_level(unsigned address, unsigned level)
	{
		channels_.at(address).level = level;
	}
	unsigned level(unsigned address) const
	{
		return channels_.at(address).level;
	}
	/// How many words with its level somebody has listened to.
	std::uint64_t readings(unsigned address) const
	{
		return channels_.at(address).readings;
	}
	unsigned selected() const
	{
		return selected_;
	}

	/// Chip select: the next byte is the first of a word.
	void select()
	{
		in_word_ = false;
	}
	/// One byte each way.
	/// @param sent none when nothing drives the line: that is no command.
	/// @param heard whether somebody listens to the answer.
	std::uint8_t exchange(std::optional<std::uint8_t> sent, bool heard);

private:
	struct Channel {
		unsigned level = 0;
		std::uint64_t readings = 0;
	};

	std::array<Channel, HIGHEST_ADDRESS + 1> channels_{};
	unsigned selected_ = 0;
	bool in_word_ = false;
	unsigned answer_ = 0; ///< The word that is being exchanged.
};

} // namespace simboard
