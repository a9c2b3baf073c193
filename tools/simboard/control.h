#pragma once

/// The control socket: takes clients and runs their requests on the main loop.
/// What is spoken is in protocol.h.

#include "commands.h"
#include "util/unique-fd.h"

#include <memory>
#include <set>

namespace simboard
{

class Connection;

class Control
{
public:
	/// @param bench what the requests work with, but for following; it must
	///     outlive this.
	explicit Control(const Bench &bench);
	~Control();
	Control(const Control &) = delete;
	Control &operator=(const Control &) = delete;

	/// Makes the socket. One that a board has left behind is replaced; one
	/// that is in use is an error.
	bool listen(const std::string &path, GError **error);

	// For the connections.
	void run(const Words &words, const Reply &reply);
	void drop(const std::shared_ptr<Connection> &connection);

private:
	static gboolean on_client(gint fd, GIOCondition, gpointer control);

	Bench bench_;
	std::vector<Reply> followers_;
	std::string path_;
	util::UniqueFd socket_;
	util::ScopedSource source_;
	std::set<std::shared_ptr<Connection>> connections_;
};

} // namespace simboard
