#include "fuse-ioctl.h"

#include "fuse-request.h"

#include <cerrno>

namespace simboard
{

namespace
{

/// How long a caller who got a signal still waits. No driver here minds a
/// signal, but a caller who is to be killed cannot go before the answer, and
/// the answer may wait for what goes with the caller.
constexpr guint PATIENCE_MS = 1000;

/// A request that is being answered.
class Pending
{
public:
	explicit Pending(fuse_req_t request) : request_(request)
	{
		fuse_req_interrupt_func(request_, on_interrupt, this);
	}
	Pending(const Pending &) = delete;
	Pending &operator=(const Pending &) = delete;

	void answer(int error, int result, const std::string &data);

private:
	static void on_interrupt(fuse_req_t, void *pending) noexcept;
	static gboolean on_patience_end(gpointer pending);

	fuse_req_t request_; ///< Null once it is answered.
	util::ScopedSource patience_;
};

void Pending::answer(int error, int result, const std::string &data)
{
	patience_.reset();
	fuse_req_t request = std::exchange(request_, nullptr);
	if (!request)
		return;
	if (error != 0)
		fuse_reply_err(request, error);
	else
		fuse_reply_ioctl(request, result, data.data(), data.size());
}

void Pending::on_interrupt(fuse_req_t, void *data) noexcept
{
	auto *pending = static_cast<Pending *>(data);

	pending->patience_.reset(
		g_timeout_add(PATIENCE_MS, on_patience_end, pending));
}

gboolean Pending::on_patience_end(gpointer data)
{
	auto *pending = static_cast<Pending *>(data);

	pending->patience_.release();
	pending->answer(EINTR, 0, "");
	return G_SOURCE_REMOVE;
}

} // namespace

void on_ioctl(fuse_req_t request, fuse_ino_t, unsigned command, void *,
	      fuse_file_info *info, unsigned, const void *argument, size_t size,
	      size_t) noexcept
{
	OpenFile *file = find_file(request, info);

	if (!file) {
		fuse_reply_err(request, ENOTTY);
		return;
	}
	auto pending = std::make_shared<Pending>(request);
	file->ioctl({command,
		     {static_cast<const char *>(argument), size},
		     fuse_req_ctx(request)->pid,
		     process_of(request)},
		    [pending](int error, int result, const std::string &data) {
			    pending->answer(error, result, data);
		    });
}

} // namespace simboard
