#pragma once

/// What users can set on a port: direction, active levels, names, usage. Each
/// operation announces a change; saving it is the caller's. Main thread.

#include "ioport/ioport.h"

#include <string_view>

/// The longest name or usage text, in bytes without the final zero. A bus
/// disconnects whoever sends more than its limit, 32 MiB as a rule
/// (max_message_size in dbus-daemon(1)), and a message may hold several texts.
constexpr size_t kLongestText = 1024 * 1024;

/// Whether a text may be kept on a port.
bool io_port_text_fits(const char *text);

/// Switches a configurable port between input and output; any other port is
/// refused. Ends a running sequence.
bool io_port_set_direction(IOPort *port, bool input);

/// "open" for an active level of true, "closed" for false: what users and other
/// services call it.
const char *io_port_activelow_word(bool activelow);

/// The active level that @p word stands for; nothing for any other word.
std::optional<bool> io_port_parse_activelow(std::string_view word);

/// The active level of the input or of the output side.
bool io_port_get_activelow(const IOPort *port, bool input);

/// Sets the active level of one side; refused for the side that the port does
/// not have. An output keeps its logical state, its line flips. Ends a running
/// sequence, even when nothing changes.
bool io_port_set_activelow(IOPort *port, bool activelow, bool input);

/// The next value of each event is sent even if it equals the last one.
void io_port_reset_event_filters(IOPort *port);

/// Copies of the names that the port's type has; the other is left alone.
void io_port_get_names(const IOPort *port,
		       std::optional<std::string> *input_name,
		       std::optional<std::string> *output_name);

/// The name of the side that the port is on now.
std::optional<std::string> io_port_get_name(const IOPort *port);

/// Sets one side's name; refused for a side that the port does not have, and
/// when it is too long. The
/// events are declared again, so that they carry the new name, unless a
/// configurable port is on the other side now.
bool io_port_set_input_name(IOPort *port, const char *name);
bool io_port_set_output_name(IOPort *port, const char *name);

std::optional<std::string> io_port_get_usage(const IOPort *port);
/// Refused when it is too long.
bool io_port_set_usage(IOPort *port, const char *usage);

/// Withdraws the port's events and declares those that apply now, as they are
/// now. A running sequence goes on, and sends nothing meanwhile.
void io_port_redeclare_events(IOPort *port);

/// A disabled port withdraws its events and sends nothing.
void io_port_set_enabled(IOPort *port, bool enabled);

/// 0 for no port.
int io_port_get_mode(const IOPort *port);
/// Stores a valid mode, 1 or 2; false for any other.
bool io_port_set_mode(IOPort *port, int mode);
/// Milliseconds; -1 for no port.
gint32 io_port_get_delay_time(const IOPort *port);
void io_port_set_delay_time(IOPort *port, gint32 delay_time);
int io_port_get_reserved(const IOPort *port);
/// 0 is ignored.
void io_port_set_reserved(IOPort *port, int reserved);
/// The property "ioport": the port is a real I/O port.
bool io_port_get_ioport(const IOPort *port);
