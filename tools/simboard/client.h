#pragma once

/// The other end of the control socket: asks a board that is being served.

#include "util/unique-fd.h"

#include <glib.h>

#include <string>
#include <vector>

namespace simboard
{

class Client
{
public:
	/// @param path of the socket.
	bool connect(const std::string &path, GError **error);

	/// Sends a request; every word must be one.
	bool send(const std::vector<std::string> &words, GError **error);

	/// Waits for the next line of the answer. False at its end, with error
	/// set when that is not "ok".
	bool next_line(std::string &line, GError **error);

	/// A whole request: all lines of its answer.
	bool ask(const std::vector<std::string> &words,
		 std::vector<std::string> &lines, GError **error);

	/// Whether next_line() would not wait.
	bool has_line() const;

private:
	bool receive(GError **error);

	util::UniqueFd socket_;
	std::string received_;
};

} // namespace simboard
