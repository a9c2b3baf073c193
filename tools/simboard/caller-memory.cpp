#include "caller-memory.h"

#include <glib.h>
#include <sys/uio.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace simboard
{

namespace
{

using Copy = decltype(&process_vm_readv);

struct Job {
	Copy copy;
	pid_t thread;
	std::vector<MemoryBlock> blocks;
	MemoryDone done;
	int error = 0;
};

/// GLib's own locks are not seen by the thread sanitizer.
std::mutex handover;

std::size_t length_of(const std::vector<MemoryBlock> &blocks)
{
	std::size_t length = 0;

	for (const MemoryBlock &block : blocks)
		length += block.data.size();
	return length;
}

/// An errno; 0 when all was copied.
int run(Job &job)
{
	std::vector<iovec> here, there;

	for (MemoryBlock &block : job.blocks) {
		std::size_t size = block.data.size();
		here.push_back({block.data.data(), size});
		// A number from elsewhere, and only the kernel follows it.
		there.push_back({reinterpret_cast<void *>(
					 static_cast<uintptr_t>(block.address)),
				 size});
	}
	ssize_t copied = job.copy(job.thread, here.data(), here.size(),
				  there.data(), there.size(), 0);
	bool all = copied >= 0 &&
		   static_cast<std::size_t>(copied) == length_of(job.blocks);
	return all ? 0 : EFAULT;
}

gboolean on_done(gpointer data) noexcept
{
	std::unique_ptr<Job> job(static_cast<Job *>(data));

	{
		std::lock_guard lock(handover);
	}
	job->done(job->error, std::move(job->blocks));
	return G_SOURCE_REMOVE;
}

void run_and_report(std::unique_ptr<Job> job) noexcept
{
	int error = run(*job);

	{
		std::lock_guard lock(handover);
		job->error = error;
	}
	g_idle_add_full(G_PRIORITY_DEFAULT, on_done, job.release(), nullptr);
}

void start(Copy copy, pid_t thread, std::vector<MemoryBlock> blocks,
	   MemoryDone done)
{
	if (length_of(blocks) == 0) {
		done(0, std::move(blocks));
		return;
	}
	auto job = std::make_unique<Job>(
		Job{copy, thread, std::move(blocks), done});
	try {
		std::thread(run_and_report, std::move(job)).detach();
	} catch (const std::system_error &) {
		done(EAGAIN, {});
	}
}

} // namespace

void read_memory(pid_t thread, std::vector<MemoryBlock> blocks, MemoryDone done)
{
	start(process_vm_readv, thread, std::move(blocks), std::move(done));
}

void write_memory(pid_t thread, std::vector<MemoryBlock> blocks,
		  MemoryDone done)
{
	start(process_vm_writev, thread, std::move(blocks), std::move(done));
}

} // namespace simboard
