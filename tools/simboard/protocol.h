#pragma once

/// What is spoken on the control socket, a Unix stream socket.
///
/// A request is one line of words with blanks between them: a command of
/// commands.h and its arguments. The answer is any number of lines that begin
/// with a blank, then one line with the status: "ok", or "error " and a
/// sentence. A client may send further requests at once; they are answered one
/// after the other. "follow" is answered for as long as the client stays.
///
/// A line of more than LONGEST_REQUEST bytes ends the connection after its
/// error. A client that does not read what it has asked for is dropped when
/// MOST_UNREAD bytes wait for it.

#include <cstddef>

namespace simboard
{

constexpr const char *PREFIX_LINE = " ";
constexpr const char *STATUS_OK = "ok";
constexpr const char *STATUS_ERROR = "error ";

constexpr std::size_t LONGEST_REQUEST = 1024;
constexpr std::size_t MOST_UNREAD = 64 * 1024 * 1024;
constexpr std::size_t MOST_CLIENTS = 64;

/// Where the socket is unless the command line tells: at the path in this
/// variable, else where the service has it.
constexpr const char *SOCKET_VARIABLE = "SIMBOARD_SOCKET";
constexpr const char *USUAL_SOCKET = "/run/simboard/socket";

} // namespace simboard
