#pragma once

/// The attribute files of the kernel's Industrial I/O subsystem (Documentation/
/// ABI/testing/sysfs-bus-iio). What fails is warned of, with the file and the
/// reason. Main thread.

#include "util/rate-limit.h"

#include <glib.h>

#include <string>

/// Where the kernel shows converters and triggers.
inline constexpr char kIioDevices[] = "/sys/bus/iio/devices/";
/// What the folder, and the device file in /dev, of converter N begins with.
inline constexpr char kIioDevicePrefix[] = "iio:device";
inline constexpr char kIioTriggerPrefix[] = "trigger";

enum IioDeviceType {
	IIO_DEVICE = 0,
	IIO_TRIGGER = 1,
};

/// The file's text without its last line break and what follows it; left alone,
/// with errno set, when the file cannot be read. Any thread.
/// @param limit Of the warnings, for a file that is read again and again; the
///     caller sees to it that one thread at a time uses it.
bool iio_read_sysfs(const std::string &filename, std::string *contents,
		    util::RateLimit *limit = nullptr);

/// Writes the text as a whole.
bool iio_write_sysfs(const std::string &filename, const std::string &text);

/// Writes the first character of the number: 0 and 1 are what flags take.
bool iio_write_sysfs(const std::string &filename, int value);

/// Waits while this process may not write to the file, at most one second:
/// udev's rules see a device a moment after it is made. A file that cannot be
/// written for another reason is not waited for. Blocks.
void iio_wait_for_access(const std::string &filename);

/// The number of the device, or trigger, of that name; -1 when there is none.
/// @param type An IioDeviceType; anything else is logged, -1.
/// @param root Where to look; for tests.
int iio_get_device_number_with_type(const char *name, int type,
				    const char *root = kIioDevices);
/// The same for IIO_DEVICE.
int iio_get_device_number(const char *name, const char *root = kIioDevices);
