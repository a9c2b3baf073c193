#pragma once

/// The helper that answers requests for event descriptors.

namespace simboard
{

/// Answers until nobody is left who could ask.
/// @param listener the notification descriptor of a seccomp filter that holds
/// up
///     IIO_GET_EVENT_FD_IOCTL only.
void serve_event_requests(int listener);

} // namespace simboard
