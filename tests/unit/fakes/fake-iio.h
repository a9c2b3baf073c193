#pragma once

/// The kernel's Industrial I/O subsystem, in a folder of its own: what the
/// C library's open(), opendir(), access(), mkdir(), stat(), read(), write(),
/// close() and ioctl() see of it below its three fixed places. A path below
/// /sys/bus/iio/devices/ is written without that, any other in full; the
/// descriptor of the events of /dev/iio:device0 as "events0".
///
/// Recorded are "open(/dev/iio:device0)", "read(<path>)", "write(<path>,
/// <text>)", "mkdir(<path>, <octal mode>)" and "get_event_fd(<path>)".

#include <glib.h>

#include <string>
#include <vector>

namespace fake_iio
{

/// Shows a kernel without converters whose files are below @p root.
void mount(const std::string &root);
/// The machine's own files again.
void unmount();

/// Makes a file with that text, or gives it another one.
void set(const std::string &path, const std::string &text);
std::string get(const std::string &path);
void remove(const std::string &path);

enum class Call { OPEN, OPENDIR, READ, WRITE, CLOSE, MKDIR, EVENT_FD };

/// In place of an errno of EVENT_FD: it succeeds and gives no descriptor.
constexpr int kNoDescriptor = -1;

constexpr unsigned kAlways = 0;

/// Such calls for that path fail with that errno, so many of them, until 0 is
/// given.
void fail(Call call, const std::string &path, int error,
	  unsigned times = kAlways);

/// Gives bytes to whoever has the device file, or the events, open.
void send(const std::string &path, const std::string &bytes);
/// A whole event record.
void send_event(const std::string &path, guint64 id);
/// There is nothing to come any more.
void hang_up(const std::string &path);

/// Whether reading the open file of that path returns at once when there is
/// nothing to read.
bool is_non_blocking(const std::string &path);

/// What is open, sorted.
std::vector<std::string> open_files();

} // namespace fake_iio
