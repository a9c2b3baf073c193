#pragma once

#include <sys/types.h>

#include <vector>

namespace util
{

/// The user, and the group, that the daemon runs as once it has started.
constexpr const char *kServiceUser = "qel";

/// While it lives the whole process acts as kServiceUser, its groups included,
/// and can still go back: for what must belong to that user although it is
/// needed before the start-up rights are given up. Nothing in a process that
/// is not root (any more), and where there is no such user. Main thread.
class ServiceIdentity
{
public:
	ServiceIdentity();
	~ServiceIdentity();
	ServiceIdentity(const ServiceIdentity &) = delete;
	ServiceIdentity &operator=(const ServiceIdentity &) = delete;

private:
	bool taken_ = false;
	gid_t group_ = 0;
	std::vector<gid_t> groups_;
};

/// Whether @p path, a link itself when it is one, is kServiceUser's, or cannot
/// be looked at, and root asks: what only that user vouches for must not tell
/// root what to do.
bool is_of_service_user(const char *path);

/// Gives a file that root has made to kServiceUser and its group, so that they
/// may replace it later. A symbolic link is not followed. Nothing in a process
/// that is not root, and where there is no such user.
void give_to_service_user(const char *path);

} // namespace util
