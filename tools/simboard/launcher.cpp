#include "launcher.h"

#include "error.h"
#include "event-helper.h"
#include "util/unique-fd.h"

#include <linux/filter.h>
#include <linux/iio/events.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

namespace simboard
{

namespace
{

/// Where the low half of ioctl()'s second argument is.
constexpr unsigned COMMAND_OFFSET =
	offsetof(seccomp_data, args) + sizeof(__u64) +
	(std::endian::native == std::endian::big ? sizeof(__u32) : 0);

/// A caller of another architecture may have another system call of ioctl's
/// number; the helper finds that it has no device there and lets it pass.
constexpr sock_filter FILTER[] = {
	BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
	BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_ioctl, 0, 3),
	BPF_STMT(BPF_LD | BPF_W | BPF_ABS, COMMAND_OFFSET),
	BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IIO_GET_EVENT_FD_IOCTL, 0, 1),
	BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
	BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
};

/// The descriptor that its notifications come from.
util::UniqueFd install_filter()
{
	sock_fprog program = {std::size(FILTER),
			      const_cast<sock_filter *>(FILTER)};

	// Who is not root may filter only what cannot gain rights.
	if (geteuid() != 0)
		prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
	// A signal that is not deadly must not take a request back that is
	// being answered: the caller would get a second descriptor.
	return util::UniqueFd(static_cast<int>(
		syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
			SECCOMP_FILTER_FLAG_NEW_LISTENER |
				SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV,
			&program)));
}

/// Room for one descriptor in a message.
union DescriptorRoom {
	cmsghdr header;
	char room[CMSG_SPACE(sizeof(int))];
};

bool send_descriptor(int socket, int fd)
{
	char byte = 0;
	iovec data = {&byte, sizeof(byte)};
	DescriptorRoom control = {};
	msghdr message = {};

	message.msg_iov = &data;
	message.msg_iovlen = 1;
	message.msg_control = &control;
	message.msg_controllen = sizeof(control);
	cmsghdr *header = CMSG_FIRSTHDR(&message);
	header->cmsg_level = SOL_SOCKET;
	header->cmsg_type = SCM_RIGHTS;
	header->cmsg_len = CMSG_LEN(sizeof(fd));
	memcpy(CMSG_DATA(header), &fd, sizeof(fd));
	return sendmsg(socket, &message, MSG_NOSIGNAL) == sizeof(byte);
}

util::UniqueFd receive_descriptor(int socket)
{
	char byte = 0;
	int fd = -1;
	iovec data = {&byte, sizeof(byte)};
	DescriptorRoom control = {};
	msghdr message = {};

	message.msg_iov = &data;
	message.msg_iovlen = 1;
	message.msg_control = &control;
	message.msg_controllen = sizeof(control);
	ssize_t size = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
	cmsghdr *header = size > 0 ? CMSG_FIRSTHDR(&message) : nullptr;
	if (header && header->cmsg_type == SCM_RIGHTS)
		memcpy(&fd, CMSG_DATA(header), sizeof(fd));
	return util::UniqueFd(fd);
}

/// Nothing of the program's may stay open here: others wait for its end.
[[noreturn]] void run_helper(util::UniqueFd socket)
{
	setsid();
	for (int number : {SIGINT, SIGTERM, SIGHUP})
		signal(number, SIG_IGN);
	util::UniqueFd listener = receive_descriptor(socket.get());
	dup2(listener.get(), STDIN_FILENO);
	close_range(STDIN_FILENO + 1, ~0U, 0);
	serve_event_requests(STDIN_FILENO);
	_exit(0);
}

/// Starts the helper, as a child of nobody who could be surprised by it.
/// @return the socket that it takes the filter's descriptor from.
util::UniqueFd start_helper()
{
	int ends[2];

	if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
		return {};
	util::UniqueFd ours(ends[0]), its(ends[1]);
	pid_t child = fork();
	if (child == 0) {
		ours.reset();
		if (fork() == 0)
			run_helper(std::move(its));
		_exit(0);
	}
	if (child < 0)
		return {};
	waitpid(child, nullptr, 0);
	return ours;
}

} // namespace

bool launch(const std::vector<std::string> &command, GError **error)
{
	std::vector<char *> arguments;
	util::UniqueFd helper = start_helper();
	util::UniqueFd listener;

	if (helper.valid())
		listener = install_filter();
	if (!listener.valid() ||
	    !send_descriptor(helper.get(), listener.get())) {
		set_failure(error, "cannot watch %s: %s", command[0].c_str(),
			    g_strerror(errno));
		return false;
	}
	listener.reset();
	for (const std::string &word : command)
		arguments.push_back(const_cast<char *>(word.c_str()));
	arguments.push_back(nullptr);
	execvp(arguments[0], arguments.data());
	set_failure(error, "cannot run %s: %s", command[0].c_str(),
		    g_strerror(errno));
	return false;
}

} // namespace simboard
