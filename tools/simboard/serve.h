#pragma once

#include <glib.h>

#include <string>

namespace simboard
{

/// Shows the board of board_file below mount_point and takes commands at
/// socket, until SIGTERM or SIGINT. Prints "ready" when it does both, and tells
/// the service manager.
bool serve(const std::string &board_file, const std::string &mount_point,
	   const std::string &socket, GError **error);

} // namespace simboard
