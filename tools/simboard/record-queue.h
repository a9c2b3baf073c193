#pragma once

/// What the kernel has for a reader that comes later: a queue of records of one
/// size. Of what does not fit the new is lost (include/linux/kfifo.h).

#include <deque>
#include <string>

namespace simboard
{

class RecordQueue
{
public:
	/// Drops what is in it.
	/// @param record_size in bytes; 0: nothing can be read.
	/// @param most records.
	void reset(std::size_t record_size, std::size_t most);

	/// False when it is full.
	/// @param record of record_size.
	bool push(std::string record);
	/// Takes as many whole records as fit, and returns them.
	std::string take(std::size_t bytes);

	std::size_t record_size() const
	{
		return record_size_;
	}
	std::size_t count() const
	{
		return records_.size();
	}

private:
	std::size_t record_size_ = 0;
	std::size_t most_ = 0;
	std::deque<std::string> records_;
};

} // namespace simboard
