#pragma once

#include <optional>
#include <string>

namespace simboard
{

/// The kind of channel, one of iio_chan_type, whose files have such a name:
/// "voltage" and "voltage2" are IIO_VOLTAGE. None when the kernel has none.
std::optional<unsigned> channel_type(const std::string &attribute);

} // namespace simboard
