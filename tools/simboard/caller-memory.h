#pragma once

/// The memory of a process that waits for the answer to its ioctl.
///
/// It is reached from a thread of its own: any page of it may first have to be
/// fetched, from a file of this very board, which the main loop must serve
/// then, or from somebody who never brings it.

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace simboard
{

/// A piece of it: where, and what is there or is to be there.
struct MemoryBlock {
	std::uint64_t address = 0;
	std::string data;
};

/// @param error 0; EFAULT when any of it is out of reach; EAGAIN when no thread
///     could be had.
using MemoryDone =
	std::function<void(int error, std::vector<MemoryBlock> blocks)>;

/// Fills the data of the blocks, as long as it is, then calls done in the main
/// loop. Blocks that have no byte between them are done at once.
void read_memory(pid_t thread, std::vector<MemoryBlock> blocks,
		 MemoryDone done);

/// The same in the other direction.
void write_memory(pid_t thread, std::vector<MemoryBlock> blocks,
		  MemoryDone done);

} // namespace simboard
