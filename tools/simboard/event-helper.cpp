#include "event-helper.h"

#include "event-file.h"
#include "thread-owner.h"
#include "util/unique-fd.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/uio.h>
#include <sys/vfs.h>

#include <cerrno>
#include <cstdint>

// Made for C only in glibc 2.36.
extern "C" {
#include <sys/pidfd.h>
}

namespace simboard
{

namespace
{

/// What becomes of a request.
struct Verdict {
	bool pass = false; ///< The kernel is to answer it after all.
	int error = 0;
};

/// A descriptor of the caller's, opened here too.
util::UniqueFd copy_of(pid_t thread, int fd)
{
	util::UniqueFd process(pidfd_open(thread_owner(thread), 0));

	return util::UniqueFd(
		process.valid() ? pidfd_getfd(process.get(), fd, 0) : -1);
}

bool is_fuse(int fd)
{
	struct statfs status = {};

	return fstatfs(fd, &status) == 0 && status.f_type == FUSE_SUPER_MAGIC;
}

/// Gives the caller a descriptor, and writes its number where it wants it.
int hand_over(int listener, const seccomp_notif &request, int fd)
{
	seccomp_notif_addfd addition = {};
	auto address = static_cast<std::uintptr_t>(request.data.args[2]);

	addition.id = request.id;
	addition.srcfd = static_cast<__u32>(fd);
	addition.newfd_flags = O_CLOEXEC;
	int number = ioctl(listener, SECCOMP_IOCTL_NOTIF_ADDFD, &addition);
	if (number < 0)
		return errno;
	iovec here = {&number, sizeof(number)};
	iovec there = {reinterpret_cast<void *>(address), sizeof(number)};
	ssize_t written = process_vm_writev(static_cast<pid_t>(request.pid),
					    &here, 1, &there, 1, 0);
	// As in the kernel the caller then has a descriptor that it does not
	// know of.
	return written == sizeof(number) ? 0 : EFAULT;
}

Verdict judge(int listener, const seccomp_notif &request)
{
	EventFilePath path = {};
	util::UniqueFd device = copy_of(static_cast<pid_t>(request.pid),
					static_cast<int>(request.data.args[0]));

	if (!device.valid() || !is_fuse(device.get()))
		return {.pass = true};
	if (ioctl(device.get(), EVENT_FILE_IOCTL, &path) != 0)
		return {.pass = errno == ENOTTY, .error = errno};
	device.reset();
	util::UniqueFd events(open(path.text, O_RDONLY | O_CLOEXEC));
	if (!events.valid())
		return {.error = errno == ENOENT ? ENODEV : errno};
	return {.error = hand_over(listener, request, events.get())};
}

void answer(int listener)
{
	seccomp_notif request = {};
	seccomp_notif_resp response = {};

	// It may have been taken back meanwhile.
	if (ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &request) != 0)
		return;
	Verdict verdict = judge(listener, request);
	response.id = request.id;
	if (verdict.pass)
		response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
	else
		response.error = -verdict.error;
	ioctl(listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

} // namespace

void serve_event_requests(int listener)
{
	pollfd poll_fd = {listener, POLLIN, 0};

	while (poll(&poll_fd, 1, -1) >= 0 || errno == EINTR) {
		if (poll_fd.revents & POLLIN)
			answer(listener);
		else if (poll_fd.revents != 0)
			return;
	}
}

} // namespace simboard
