#include "control.h"

#include "connection.h"
#include "error.h"
#include "protocol.h"
#include "unix-address.h"

#include <glib-unix.h>

#include <cerrno>

namespace simboard
{

namespace
{

/// Whether somebody listens at the address.
bool is_served(const UnixAddress &address)
{
	util::UniqueFd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));

	return connect(probe.get(), address.get(), address.size()) == 0;
}

} // namespace

Control::Control(const Bench &bench) : bench_(bench)
{
	bench_.follow = [this](const Reply &reply) {
		followers_.push_back(reply);
	};
	bench_.board.history().on_change = [this](const Change &change) {
		if (followers_.empty())
			return;
		std::string text = change_text(change);
		std::erase_if(followers_, [&text](const Reply &follower) {
			return !follower.line(text);
		});
	};
}

Control::~Control()
{
	bench_.board.history().on_change = nullptr;
	if (socket_.valid())
		unlink(path_.c_str());
}

bool Control::listen(const std::string &path, GError **error)
{
	UnixAddress address;

	if (!address.set(path, error))
		return false;
	if (is_served(address)) {
		set_failure(error, "a board is served at %s", path.c_str());
		return false;
	}
	util::UniqueFd fd(
		socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
	address.remove_left_over();
	if (bind(fd.get(), address.get(), address.size()) != 0 ||
	    ::listen(fd.get(), SOMAXCONN) != 0) {
		set_failure(error, "cannot listen at %s: %s", path.c_str(),
			    g_strerror(errno));
		return false;
	}
	path_ = path;
	socket_ = std::move(fd);
	source_.reset(g_unix_fd_add(socket_.get(), G_IO_IN, on_client, this));
	return true;
}

gboolean Control::on_client(gint fd, GIOCondition, gpointer data)
{
	auto *control = static_cast<Control *>(data);
	util::UniqueFd client(
		accept4(fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));

	if (!client.valid() || control->connections_.size() >= MOST_CLIENTS)
		return G_SOURCE_CONTINUE;
	auto connection =
		std::make_shared<Connection>(*control, std::move(client));
	control->connections_.insert(connection);
	connection->start();
	return G_SOURCE_CONTINUE;
}

void Control::run(const Words &words, const Reply &reply)
{
	run_board_command(bench_, words, reply);
}

void Control::drop(const std::shared_ptr<Connection> &connection)
{
	connections_.erase(connection);
}

} // namespace simboard
