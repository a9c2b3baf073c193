#include "util/process-state.h"

namespace
{

bool legacy_interface = true;

} // namespace

namespace util
{

std::atomic<bool> running = true;

void set_use_legacy_interface(bool use)
{
	legacy_interface = use;
}

} // namespace util

bool use_legacy_interface()
{
	return legacy_interface;
}
