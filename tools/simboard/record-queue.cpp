#include "record-queue.h"

#include <utility>

namespace simboard
{

void RecordQueue::reset(std::size_t record_size, std::size_t most)
{
	record_size_ = record_size;
	most_ = most;
	records_.clear();
}

bool RecordQueue::push(std::string record)
{
	if (records_.size() >= most_)
		return false;
	records_.push_back(std::move(record));
	return true;
}

std::string RecordQueue::take(std::size_t bytes)
{
	std::string taken;

	while (!records_.empty() && taken.size() + record_size_ <= bytes) {
		taken += records_.front();
		records_.pop_front();
	}
	return taken;
}

} // namespace simboard
