#pragma once

#include <glib.h>

#include <string>

namespace util
{

/// Reads a whole regular file of at most @p limit bytes. False, with an error
/// that names the file, for anything else: what has no end, a FIFO that nobody
/// writes to, and what would fill the memory is not waited for.
bool read_regular_file(const char *path, std::size_t limit, std::string *text,
		       GError **error);

} // namespace util
