#include "util/process-state.h"

#include <string_view>

namespace
{

bool legacy_interface = true;

} // namespace

namespace util
{

std::atomic<bool> running = true;

void read_command_line(int argc, const char *const *argv)
{
	legacy_interface = argc < 2 || std::string_view(argv[1]) !=
					       "--disable_legacy_interface";
}

} // namespace util

bool use_legacy_interface()
{
	return legacy_interface;
}
