#include "client.h"

#include "error.h"
#include "protocol.h"
#include "unix-address.h"

#include <poll.h>

#include <cerrno>
#include <string_view>

namespace simboard
{

namespace
{

constexpr std::size_t READ_CHUNK = 65536;

bool is_word(const std::string &text)
{
	for (char c : text)
		if (g_ascii_isspace(c) || c == '\0')
			return false;
	return !text.empty();
}

} // namespace

bool Client::connect(const std::string &path, GError **error)
{
	UnixAddress address;

	if (!address.set(path, error))
		return false;
	socket_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
	if (::connect(socket_.get(), address.get(), address.size()) == 0)
		return true;
	set_failure(error, "no board is served at %s: %s", path.c_str(),
		    g_strerror(errno));
	return false;
}

bool Client::send(const std::vector<std::string> &words, GError **error)
{
	std::string request;

	for (const std::string &word : words) {
		if (!is_word(word)) {
			set_usage_error(error, "\"%s\" is not one word",
					word.c_str());
			return false;
		}
		request += word + " ";
	}
	request += "\n";
	if (::send(socket_.get(), request.data(), request.size(),
		   MSG_NOSIGNAL) == static_cast<ssize_t>(request.size()))
		return true;
	set_failure(error, "the board has gone: %s", g_strerror(errno));
	return false;
}

bool Client::receive(GError **error)
{
	std::string chunk(READ_CHUNK, '\0');
	ssize_t size = recv(socket_.get(), chunk.data(), chunk.size(), 0);

	if (size > 0) {
		received_.append(chunk, 0, static_cast<std::size_t>(size));
		return true;
	}
	set_failure(error, "the board has gone");
	return false;
}

bool Client::has_line() const
{
	pollfd poll_fd = {socket_.get(), POLLIN, 0};

	return received_.find('\n') != std::string::npos ||
	       poll(&poll_fd, 1, 0) > 0;
}

bool Client::next_line(std::string &line, GError **error)
{
	std::size_t length;

	while ((length = received_.find('\n')) == std::string::npos)
		if (!receive(error))
			return false;
	line = received_.substr(0, length);
	received_.erase(0, length + 1);
	if (line.starts_with(PREFIX_LINE)) {
		line.erase(0, std::string_view(PREFIX_LINE).size());
		return true;
	}
	if (line != STATUS_OK)
		set_failure(error, "%s",
			    line.starts_with(STATUS_ERROR)
				    ? line.substr(std::string_view(STATUS_ERROR)
							  .size())
					      .c_str()
				    : line.c_str());
	return false;
}

bool Client::ask(const std::vector<std::string> &words,
		 std::vector<std::string> &lines, GError **error)
{
	std::string line;
	GError *reason = nullptr;

	lines.clear();
	if (!send(words, error))
		return false;
	while (next_line(line, &reason))
		lines.push_back(line);
	if (!reason)
		return true;
	g_propagate_error(error, reason);
	return false;
}

} // namespace simboard
