#include "error.h"

#include <cstring>
#include <string>

namespace simboard
{

namespace
{

/// Linux has no error number above it (asm-generic/errno.h).
constexpr int LAST_ERRNO = 133;

} // namespace

int errno_from_text(const char *text)
{
	for (int known = 1; known <= LAST_ERRNO; ++known) {
		const char *symbol = strerrorname_np(known);
		if (symbol && (strcmp(symbol, text) == 0 ||
			       std::to_string(known) == text))
			return known;
	}
	return 0;
}

const char *errno_symbol(int number)
{
	const char *symbol = strerrorname_np(number);

	return symbol ? symbol : "?";
}

} // namespace simboard
