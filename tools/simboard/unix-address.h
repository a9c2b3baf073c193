#pragma once

#include <glib.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <string>

namespace simboard
{

/// The address of a Unix socket that has a path.
class UnixAddress
{
public:
	/// False with error set when the path is too long for one.
	bool set(const std::string &path, GError **error);

	const sockaddr *get() const
	{
		return reinterpret_cast<const sockaddr *>(&address_);
	}
	socklen_t size() const
	{
		return sizeof(address_);
	}
	/// Removes the path if it is a socket.
	void remove_left_over() const;

private:
	sockaddr_un address_ = {};
};

} // namespace simboard
