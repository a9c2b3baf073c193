#pragma once

/// The ioctls of spidev, taken apart (Linux 6.1, drivers/spi/spidev.c).

#include "caller-memory.h"
#include "converters.h"
#include "node.h"

namespace simboard
{

/// Data bytes in the biggest message, each way.
constexpr std::size_t SPI_BUFFER_SIZE = 4096;

/// A message as the caller describes it.
struct SpiMessage {
	std::vector<SpiTransfer> transfers; ///< Without their data.
	/// What the transfers that send take from the caller, in their order,
	/// with data as long as they are; and where those that receive put it.
	std::vector<MemoryBlock> sources, targets;
	int total = 0; ///< Bytes of all transfers.
	/// EMSGSIZE when it is too big: then sources ends where that shows, and
	/// is still to be looked at first.
	int error = 0;
};

/// Takes a message apart. ENOTTY: the call is something else; EINVAL: it is no
/// whole number of transfers.
int decode_message(const IoctlCall &call, SpiMessage &message);

/// Does one of the ioctls for the settings. ENOTTY: the call is something else.
/// @param answer what the caller gets.
int run_setting(Converters &converters, Converter &converter,
		const IoctlCall &call, std::string &answer);

} // namespace simboard
