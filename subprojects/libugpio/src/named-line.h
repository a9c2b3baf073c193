#pragma once

/// Lines by the names that chips give them.

#include <optional>
#include <string>

namespace ugpio_sysfs
{

/// Where the kernel shows the chips' character devices.
constexpr const char *kChipDevices = "/sys/bus/gpio/devices";

/// The number below @p root of the first line that any chip has by that name.
/// None: errno, ENOENT when there is no such line, ENODEV when its chip has no
/// numbers below @p root, ENOTUNIQ when it cannot be told which.
std::optional<unsigned> find_named_line(const std::string &root,
					const std::string &chip_devices,
					const std::string &name);

} // namespace ugpio_sysfs
