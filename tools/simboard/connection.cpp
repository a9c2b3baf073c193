#include "connection.h"

#include "control.h"
#include "protocol.h"

#include <glib-unix.h>
#include <sys/socket.h>

#include <cerrno>
#include <sstream>

namespace simboard
{

namespace
{

constexpr std::size_t CHUNK = 4096;

Words split(const std::string &line)
{
	std::istringstream stream(line);
	Words words;

	for (std::string word; stream >> word;)
		words.push_back(word);
	return words;
}

} // namespace

Connection::Connection(Control &control, util::UniqueFd socket)
	: control_(control), socket_(std::move(socket))
{
}

void Connection::start()
{
	watch();
}

/// Reads only when there is nothing to be answered or sent; until then only
/// that the client has gone is of interest, which poll always tells.
void Connection::watch()
{
	bool reads = !busy_ && waiting_.empty();

	input_.reset(g_unix_fd_add(socket_.get(),
				   reads ? G_IO_IN : GIOCondition{}, on_input,
				   this));
}

gboolean Connection::on_input(gint, GIOCondition condition, gpointer data)
{
	// It may end while it is being served.
	auto self = static_cast<Connection *>(data)->shared_from_this();

	if (condition & G_IO_IN)
		self->receive();
	else
		self->end();
	return G_SOURCE_CONTINUE;
}

gboolean Connection::on_output(gint, GIOCondition, gpointer data)
{
	auto self = static_cast<Connection *>(data)->shared_from_this();

	self->send_waiting();
	return G_SOURCE_CONTINUE;
}

void Connection::receive()
{
	char chunk[CHUNK];
	ssize_t size = recv(socket_.get(), chunk, sizeof(chunk), 0);

	if (size < 0 && (errno == EAGAIN || errno == EINTR))
		return;
	if (size <= 0) {
		end();
		return;
	}
	received_.append(chunk, static_cast<std::size_t>(size));
	run_requests();
}

void Connection::run_requests()
{
	while (socket_.valid() && !busy_ && !closing_) {
		std::size_t length = received_.find('\n');
		if (std::min(length, received_.size()) > LONGEST_REQUEST) {
			closing_ = true;
			answer(std::string(STATUS_ERROR) +
				       "the request is too long\n",
			       true);
			return;
		}
		if (length == std::string::npos)
			return;
		std::string line = received_.substr(0, length);
		received_.erase(0, length + 1);
		run_request(line);
	}
}

void Connection::run_request(const std::string &line)
{
	std::weak_ptr<Connection> weak = weak_from_this();

	busy_ = true;
	watch();
	control_.run(split(line),
		     Reply([weak](const std::string &text, bool last) {
			     auto self = weak.lock();
			     return self && self->answer(text, last);
		     }));
}

bool Connection::answer(const std::string &text, bool last)
{
	bool idle = waiting_.empty();

	if (!socket_.valid())
		return false;
	waiting_ += text;
	if (last)
		busy_ = false;
	if (waiting_.size() > MOST_UNREAD) {
		end();
		return false;
	}
	if (idle)
		output_.reset(g_unix_fd_add(socket_.get(), G_IO_OUT, on_output,
					    this));
	return true;
}

void Connection::send_waiting()
{
	ssize_t size = send(socket_.get(), waiting_.data(), waiting_.size(),
			    MSG_NOSIGNAL | MSG_DONTWAIT);

	if (size < 0 && (errno == EAGAIN || errno == EINTR))
		return;
	if (size < 0) {
		end();
		return;
	}
	waiting_.erase(0, static_cast<std::size_t>(size));
	if (!waiting_.empty())
		return;
	output_.reset();
	if (closing_) {
		end();
		return;
	}
	watch();
	run_requests();
}

/// Nothing is sent or received any more.
void Connection::end()
{
	input_.reset();
	output_.reset();
	socket_.reset();
	control_.drop(shared_from_this());
}

} // namespace simboard
