#include "params/parhand.h"

#include "ioport/io-errors.h"
#include "ioport/port-list.h"
#include "ioport/port-settings.h"
#include "util/log.h"
#include "util/regular-file.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>

namespace
{

/// Bytes. Anybody may leave the file.
constexpr std::size_t kLargestFile = 64 * 1024 * 1024;
constexpr std::string_view kPortPrefix = "IOPort.I";

/// How the reading goes on after a key.
enum class Next { Key, Group, End };

/// The file, and the first error in it.
struct Import {
	GKeyFile *file;
	GError **error;
	bool failed = false;
};

/// One key of a group.
struct Entry {
	std::string_view group;
	std::string_view key;
	/// As it stands in the file; may be any bytes.
	std::string_view value;
};

Next fail(Import *import, const std::string &text)
{
	if (!import->failed)
		g_set_error_literal(import->error, io_control_error_quark(),
				    IO_CONTROL_ERROR_GENERIC, text.c_str());
	import->failed = true;
	return Next::Group;
}

Next fail_key(Import *import, std::string_view key)
{
	return fail(import,
		    "Failed to read " + std::string(key) + " parameter");
}

// ---- values ----

/// The number that @p text starts with, at most the type's largest one; nothing
/// when it does not start with a digit.
template <typename Number>
std::optional<Number> parse_digits(std::string_view text)
{
	if (text.empty() || !g_ascii_isdigit(text.front()))
		return {};
	Number number = 0;
	const auto result =
		std::from_chars(text.data(), text.data() + text.size(), number);
	if (result.ec == std::errc::result_out_of_range)
		return std::numeric_limits<Number>::max();
	return number;
}

/// A text that starts with a quote without that and its last character, which
/// may be anything, and may be the same.
std::string_view without_quotes(std::string_view text)
{
	if (!text.starts_with('"'))
		return text;
	text.remove_prefix(1);
	if (text.empty())
		return text;
	const char *last = g_utf8_prev_char(text.data() + text.size());
	return text.substr(0, static_cast<std::size_t>(last - text.data()));
}

/// The text without the quotes around it, if any; nothing when it cannot be
/// kept on a port.
std::optional<std::string> parse_text(std::string_view value)
{
	if (!g_utf8_validate_len(value.data(), value.size(), nullptr))
		return {};
	std::string text(without_quotes(value));
	if (!io_port_text_fits(text.c_str()))
		return {};
	return text;
}

// ---- the kinds of groups ----

Next apply_input(Import *import, IOPort *port, const Entry &entry)
{
	if (entry.key == "Name") {
		const auto name = parse_text(entry.value);
		if (!name)
			return fail_key(import, entry.key);
		io_port_set_input_name(port, name->c_str());
	} else if (entry.key == "Trig") {
		const auto activelow = io_port_parse_activelow(entry.value);
		if (!activelow)
			return fail_key(import, entry.key);
		io_port_set_activelow(port, *activelow, true);
	} else {
		return fail_key(import, entry.key);
	}
	return Next::Key;
}

Next apply_output_level(Import *import, IOPort *port, const Entry &entry)
{
	const auto activelow = io_port_parse_activelow(entry.value);
	if (!activelow)
		return fail_key(import, entry.key);
	io_port_set_activelow(port, *activelow, false);
	return Next::Key;
}

Next apply_output_name(Import *import, IOPort *port, const Entry &entry)
{
	const auto name = parse_text(entry.value);
	if (!name)
		return fail_key(import, entry.key);
	io_port_set_output_name(port, name->c_str());
	return Next::Key;
}

void apply_button(IOPort *port, std::string_view value)
{
	for (int type = 0; type < BUTTON_COUNT; ++type) {
		if (value == button_type_string[type])
			port->button_type = type;
	}
}

Next apply_output(Import *import, IOPort *port, const Entry &entry)
{
	if (entry.key == "Name")
		return apply_output_name(import, port, entry);
	if (entry.key == "Active")
		return apply_output_level(import, port, entry);
	if (entry.key == "Button")
		apply_button(port, entry.value);
	else if (entry.key == "PulseTime")
		port->pulse_time = parse_digits<guint32>(entry.value)
					   .value_or(port->pulse_time);
	else if (entry.key == "DelayTime")
		port->delay_time = parse_digits<gint32>(entry.value)
					   .value_or(port->delay_time);
	else if (entry.key == "Mode")
		port->mode = entry.value == "bistable" ? PORT_MODE_BISTABLE
						       : PORT_MODE_MONOSTABLE;
	else
		return fail_key(import, "Output");
	return Next::Key;
}

Next apply_direction(Import *import, IOPort *port, const Entry &entry)
{
	if (entry.key != "Direction" || port == nullptr ||
	    port->type != PORT_IO_CTRL)
		return Next::Key;
	if (entry.value != "input" && entry.value != "output")
		return fail_key(import, entry.key);
	port->direction = entry.value == "input";
	return Next::Key;
}

// ---- groups ----

enum class Kind { Other, Port, Input, Output };

Kind kind_of(std::string_view group)
{
	if (group == "Input" || group == "Output")
		return Kind::Other;
	if (group.ends_with("Input"))
		return Kind::Input;
	if (group.ends_with("Output"))
		return Kind::Output;
	return group.starts_with(kPortPrefix) ? Kind::Port : Kind::Other;
}

/// The number behind "IOPort.I"; nothing when there is none.
std::optional<gint64> port_number(std::string_view group)
{
	if (group.size() < kPortPrefix.size())
		return {};
	return parse_digits<gint64>(group.substr(kPortPrefix.size()));
}

/// None for a number that no port can have, too.
PortRef find_port(gint64 number)
{
	return number <= G_MAXINT
		       ? io_port_list_get_port(static_cast<int>(number))
		       : PortRef();
}

Next apply_to_side(Import *import, Kind kind, IOPort *port, const Entry &entry)
{
	return kind == Kind::Input ? apply_input(import, port, entry)
				   : apply_output(import, port, entry);
}

Next apply(Import *import, const Entry &entry)
{
	const Kind kind = kind_of(entry.group);
	if (kind == Kind::Other)
		return Next::Key;
	const auto number = port_number(entry.group);
	if (!number)
		return fail(import, "Failed to parse port number");
	const PortRef port = find_port(*number);
	if (kind == Kind::Port)
		return apply_direction(import, port.get(), entry);
	if (!port) {
		util::print_err(
			"No port %d to write parhand data to.\n",
			static_cast<int>(std::min<gint64>(*number, G_MAXINT)));
		return Next::End;
	}
	return apply_to_side(import, kind, port.get(), entry);
}

Next apply_key(Import *import, const char *group, const char *key)
{
	const util::CharPtr value(
		g_key_file_get_value(import->file, group, key, nullptr));
	return apply(import, {group, key, value ? value.get() : ""});
}

/// False when the import is over.
bool apply_group(Import *import, const char *group)
{
	util::Error error;
	const util::StrvPtr keys(
		g_key_file_get_keys(import->file, group, nullptr, &error));
	if (!keys) {
		g_warning("Error parsing parhand file %s", error.message());
		return false;
	}
	for (char **key = keys.get(); *key != nullptr; ++key) {
		const Next next = apply_key(import, group, *key);
		if (next != Next::Key)
			return next == Next::Group;
	}
	return true;
}

} // namespace

bool read_parhand_parameters(const char *path, GError **error)
{
	if (!g_file_test(path, G_FILE_TEST_EXISTS)) {
		g_warning("Unable to read from parhand file");
		return true;
	}
	std::string text;
	if (!util::read_regular_file(path, kLargestFile, &text, error))
		return false;
	const util::KeyFilePtr file(g_key_file_new());
	if (!g_key_file_load_from_data(file.get(), text.data(), text.size(),
				       G_KEY_FILE_KEEP_COMMENTS, error))
		return false;
	Import import = {file.get(), error};
	const util::StrvPtr groups(g_key_file_get_groups(file.get(), nullptr));
	for (char **group = groups.get(); *group != nullptr; ++group) {
		if (!apply_group(&import, *group))
			return false;
	}
	return !import.failed;
}
