#include "parked-reads.h"

#include "fuse-read.h"

#include <algorithm>
#include <cerrno>

namespace simboard
{

ParkedReads::~ParkedReads()
{
	if (!reads_)
		return;
	for (auto &read : *reads_)
		fuse_reply_err(read->request, ENODEV);
}

void ParkedReads::add(fuse_req *request, std::size_t size, off_t offset)
{
	auto read = std::make_unique<Read>(
		Read{reads_.get(), request, size, offset, {}});
	Read *parked = read.get();

	reads_->push_back(std::move(read));
	fuse_req_interrupt_func(request, on_interrupt, parked);
}

void ParkedReads::retry(OpenFile &file)
{
	std::erase_if(*reads_, [&file](const std::unique_ptr<Read> &read) {
		return answer_read(file, read->request, read->size,
				   read->offset);
	});
}

/// The request is in use here and must not be answered yet.
void ParkedReads::on_interrupt(fuse_req *, void *data) noexcept
{
	auto *read = static_cast<Read *>(data);

	read->end.reset(
		g_idle_add_full(G_PRIORITY_DEFAULT, on_end, read, nullptr));
}

gboolean ParkedReads::on_end(gpointer data)
{
	auto *read = static_cast<Read *>(data);

	read->end.release();
	fuse_reply_err(read->request, EINTR);
	read->all->remove_if([read](const std::unique_ptr<Read> &other) {
		return other.get() == read;
	});
	return G_SOURCE_REMOVE;
}

} // namespace simboard
