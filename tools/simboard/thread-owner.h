#pragma once

#include <sys/types.h>

namespace simboard
{

/// The process that a thread belongs to; the thread when it has gone.
pid_t thread_owner(pid_t thread);

} // namespace simboard
