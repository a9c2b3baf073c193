#include "adc.h"

namespace simboard
{

namespace
{

constexpr unsigned LEVEL_SHIFT = 4;
constexpr unsigned BYTE = 8;

} // namespace

std::uint8_t Adc::exchange(std::optional<std::uint8_t> sent, bool heard)
{
	in_word_ = !in_word_;
	if (in_word_) {
		answer_ = level(selected_) << LEVEL_SHIFT;
		return static_cast<std::uint8_t>(answer_);
	}
	if (heard)
		++channels_.at(selected_).readings;
	if (sent)
		selected_ = *sent;
	return static_cast<std::uint8_t>(answer_ >> BYTE);
}

} // namespace simboard
