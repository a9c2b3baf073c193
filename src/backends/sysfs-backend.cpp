#include "backends/sysfs-backend.h"

#include "backends/backend-data.h"
#include "backends/poll.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "util/assert.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace
{

constexpr char kSysfsModule[] = "sysfs-backend.c";
/// The longest text read from an attribute.
constexpr size_t kMaxText = 63;

/// The number in @p text as the attribute's value, whatever its size.
int parse_value(SysfsPortData *data, const char *text)
{
	errno = 0;
	const gint64 value = g_ascii_strtoll(text, nullptr, 10);
	if (const int saved_errno = errno)
		data->limits.bad_format.warn(
			"Unexpected format when parsing input when reading: "
			"%s! : %s",
			data->path.c_str(), g_strerror(saved_errno));
	else
		data->limits.bad_format.settle();
	return static_cast<int>(
		std::clamp<gint64>(value, std::numeric_limits<int>::min(),
				   std::numeric_limits<int>::max()));
}

void clear_latch(SysfsPortData *data)
{
	if (write(data->fd.get(), "0", 1) < 0)
		data->limits.write_error.warn("Sysfs write failed: %s",
					      g_strerror(errno));
	else
		data->limits.write_error.settle();
	lseek(data->fd.get(), 0, SEEK_SET);
}

/// The level that @p value stands for; anything but 0 and 1 reads as 0.
guint32 value_to_level(SysfsPortData *data, int value)
{
	if (value == 1 && data->clear_flag)
		clear_latch(data);
	if (value != 0 && value != 1)
		data->limits.bad_value.warn(
			"Unexpected value: %d when reading: %s", value,
			data->path.c_str());
	else
		data->limits.bad_value.settle();
	return value == 1 ? 1 : 0;
}

/// The attribute's level now, inversion applied, except that a file that
/// cannot be read is 0.
guint32 read_level(SysfsPortData *data)
{
	if (!data->fd.valid())
		return data->inverted ? 1 : 0;

	char text[kMaxText + 1] = {};
	if (read(data->fd.get(), text, kMaxText) < 0) {
		data->limits.read_error.warn("Error failed to read %s! : %s",
					     data->path.c_str(),
					     g_strerror(errno));
		return 0;
	}
	data->limits.read_error.settle();
	lseek(data->fd.get(), 0, SEEK_SET);
	const guint32 level = value_to_level(data, parse_value(data, text));
	return data->inverted ? 1 - level : level;
}

gboolean sysfs_port_poll(gpointer user_data)
{
	auto *port = static_cast<IOPort *>(user_data);
	auto *data = backend::data<SysfsPortData>(port);

	const guint32 level = read_level(data);
	const guint32 previous = data->state.exchange(level);
	if (level != previous)
		io_port_trigger(port, io_port_get_state(port));
	return G_SOURCE_CONTINUE;
}

bool sysfs_port_setup(IOPort *port, int)
{
	auto *data = backend::data<SysfsPortData>(port);
	MODULE_ASSERT(kSysfsModule, data != NULL);
	MODULE_ASSERT(kSysfsModule, port->type == PORT_INPUT);

	data->poll_id.reset();
	data->fd.reset();
	// The path may lead to a FIFO or a device, which must not hold the
	// daemon up.
	const int mode = data->clear_flag ? O_RDWR : O_RDONLY;
	data->fd.reset(open(data->path.c_str(),
			    mode | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
	if (!data->fd.valid() && !port->optional)
		g_warning("Failed to open %s: %s", data->path.c_str(),
			  g_strerror(errno));
	return data->fd.valid();
}

int sysfs_port_get_state(IOPort *port)
{
	const auto *data = backend::data<SysfsPortData>(port);
	return data != nullptr && data->state > 0 ? 1 : 0;
}

void sysfs_port_set_state(IOPort *, int)
{
}

void sysfs_port_set_watch(IOPort *port)
{
	auto *data = backend::data<SysfsPortData>(port);
	if (data != nullptr)
		backend::start_poll(data->poll_id, data->timeout,
				    sysfs_port_poll, port);
}

bool sysfs_port_set_direction(IOPort *, bool)
{
	return true;
}

bool sysfs_port_parse_data(IOPort *port, const char *group, const char *key,
			   const char *value)
{
	auto *data = backend::ensure_data<SysfsPortData>(port);
	if (std::strcmp(group, "device") != 0) {
		g_warning("Could not parse backend data!\n");
		return false;
	}
	if (std::strcmp(key, "path") == 0)
		data->path = value;
	else if (std::strcmp(key, "timeout") == 0)
		data->timeout = backend::parse_poll_interval(port, value);
	else if (std::strcmp(key, "clear_flag") == 0)
		data->clear_flag = std::strcmp(value, "true") == 0;
	else if (std::strcmp(key, "inverted") == 0)
		data->inverted = std::strcmp(value, "true") == 0;
	return true;
}

/// The record's members remove the poll and close the file.
void sysfs_port_free(IOPort *port)
{
	backend::free_data<SysfsPortData>(port);
}

constexpr IOPortFunctions sysfs_functions = {
	.setup = sysfs_port_setup,
	.is_supervisable = nullptr,
	.set_supervised = nullptr,
	.get_supervised_ranges = nullptr,
	.set_supervised_ranges = nullptr,
	.get_supervised_readout = nullptr,
	.get_state = sysfs_port_get_state,
	.set_state = sysfs_port_set_state,
	.set_watch = sysfs_port_set_watch,
	.set_direction = sysfs_port_set_direction,
	.parse_data = sysfs_port_parse_data,
	.free = sysfs_port_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *sysfs_setup_functions(IOPort *port)
{
	backend::ensure_data<SysfsPortData>(port);
	return &sysfs_functions;
}
