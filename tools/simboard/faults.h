#pragma once

/// Errors that uses of something fail with as long as somebody wants that.

#include "error.h"
#include "words.h"

#include <array>

namespace simboard
{

/// @param Access what can be made to fail, an enumeration of Count words.
template <typename Access, std::size_t Count> class Faults
{
public:
	/// An errno number; 0 when the access works.
	int of(Access access) const
	{
		return numbers_[static_cast<std::size_t>(access)];
	}
	void set(Access access, int number)
	{
		numbers_[static_cast<std::size_t>(access)] = number;
	}

private:
	std::array<int, Count> numbers_{};
};

/// Instead of an errno: what is read is only half of what it should be.
constexpr int SHORT_READ = -1;
constexpr const char *SHORT_WORD = "SHORT";

/// The word for a fault: an errno's symbol, "SHORT", or "none" for 0.
inline std::string fault_word(int number)
{
	if (number == SHORT_READ)
		return SHORT_WORD;
	return number == 0 ? "none" : errno_symbol(number);
}

/// The fault as the history and the notes of "state" tell it: "read:EIO".
template <typename Access> std::string fault_text(Access access, int number)
{
	return std::string(word(access)) + ":" + fault_word(number);
}

} // namespace simboard
