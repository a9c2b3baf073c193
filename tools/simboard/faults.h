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

/// The fault as the history and the notes of "state" tell it: "read:EIO".
template <typename Access> std::string fault_text(Access access, int number)
{
	return std::string(word(access)) + ":" +
	       (number == 0 ? "none" : errno_symbol(number));
}

} // namespace simboard
