#pragma once

/// The reads of an open file that wait until there is something to read.

#include "node.h"
#include "util/scoped-source.h"

#include <list>
#include <memory>

struct fuse_req;

namespace simboard
{

class ParkedReads
{
public:
	ParkedReads() = default;
	/// Ends them all with ENODEV.
	~ParkedReads();
	ParkedReads(ParkedReads &&) = default;

	/// Keeps a read; it ends with EINTR when its caller gets a signal.
	void add(fuse_req *request, std::size_t size, off_t offset);
	/// Answers those that there is an answer to.
	void retry(OpenFile &file);

private:
	struct Read {
		std::list<std::unique_ptr<Read>> *all;
		fuse_req *request;
		std::size_t size;
		off_t offset;
		util::ScopedSource end; ///< Of one that was interrupted.
	};
	using List = std::list<std::unique_ptr<Read>>;

	static void on_interrupt(fuse_req *, void *read) noexcept;
	static gboolean on_end(gpointer read);

	/// Reads refer to their list, wherever its owner is moved.
	std::unique_ptr<List> reads_ = std::make_unique<List>();
};

} // namespace simboard
