#include "dbus/legacy-set.h"

#include "dbus/handler-utils.h"
#include "dbus/legacy-counts.h"
#include "dbus/legacy-object.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "util/assert.h"
#include "util/rate-limit.h"

#include <cstdarg>
#include <cstring>
#include <string_view>

namespace
{

/// Complains of what clients write.
util::RateLimit complaints;

bool is_input_interface(std::string_view interface)
{
	return interface.ends_with("Input");
}

/// What became of a write; an error is set when it was refused.
enum class Outcome { Refused, Unchanged, Changed };

struct Write {
	std::string_view interface;
	const char *property;
	GVariant *value;
	GError **error;
};

Outcome outcome_of(bool changed)
{
	return changed ? Outcome::Changed : Outcome::Unchanged;
}

Outcome refuse(const Write &write, const char *format, ...) G_GNUC_PRINTF(2, 3);

Outcome refuse(const Write &write, const char *format, ...)
{
	va_list args;
	va_start(args, format);
	const util::CharPtr message(g_strdup_vprintf(format, args));
	va_end(args);
	g_set_error_literal(write.error, G_DBUS_ERROR,
			    G_DBUS_ERROR_INVALID_ARGS, message.get());
	return Outcome::Refused;
}

Outcome refuse_value(const Write &write)
{
	return refuse(write, "Incorrect value for %s", write.property);
}

/// The bytes before the final zero. Nothing when there is none, or when it is
/// not the only one; no bytes at all are an empty text.
std::optional<std::string_view> bytes_of(GVariant *value)
{
	gsize size = 0;
	const auto *bytes = static_cast<const char *>(
		g_variant_get_fixed_array(value, &size, sizeof(char)));
	if (size == 0)
		return "";
	if (std::memchr(bytes, '\0', size) != bytes + size - 1)
		return {};
	return std::string_view(bytes, size - 1);
}

/// The text that a byte string stands for; nothing when it is none that may be
/// kept on a port.
std::optional<std::string> text_of(GVariant *value)
{
	const auto bytes = bytes_of(value);
	if (!bytes ||
	    !g_utf8_validate_len(bytes->data(), bytes->size(), nullptr))
		return {};
	std::string text(*bytes);
	if (!io_port_text_fits(text.c_str()))
		return {};
	return text;
}

/// What a byte string says, fit for a message: as much as a text may be long,
/// since the bus disconnects whoever sends too much.
std::string shown(GVariant *value)
{
	const auto bytes = bytes_of(value).value_or("").substr(0, kLongestText);
	return util::CharPtr(
		       g_utf8_make_valid(bytes.data(),
					 static_cast<gssize>(bytes.size())))
		.get();
}

/// The place of the text among @p words; nothing when it is none of them.
template <std::size_t Count>
std::optional<int> word_index(GVariant *value,
			      const char *const (&words)[Count])
{
	const auto text = text_of(value);
	for (std::size_t i = 0; text && i < Count; ++i) {
		if (*text == words[i])
			return static_cast<int>(i);
	}
	return {};
}

/// Whether the value is "open" (true) or "closed" (false); nothing for any
/// other.
std::optional<bool> level_of(GVariant *value)
{
	const auto text = text_of(value);
	return text ? io_port_parse_activelow(*text) : std::nullopt;
}

Outcome set_name(IOPort *port, const Write &write)
{
	const auto name = text_of(write.value);
	if (!name)
		return refuse_value(write);
	if (write.interface.find("Input") != write.interface.npos) {
		const bool changed = port->input_name != name;
		if (io_port_set_input_name(port, name->c_str()))
			return outcome_of(changed);
	} else if (write.interface.find("Output") != write.interface.npos) {
		const bool changed = port->output_name != name;
		if (io_port_set_output_name(port, name->c_str()))
			return outcome_of(changed);
	}
	return refuse_value(write);
}

/// That a port does not have the side is no error here.
Outcome set_trig(IOPort *port, const Write &write)
{
	const auto activelow = level_of(write.value);
	if (!activelow)
		return refuse_value(write);
	const bool input = is_input_interface(write.interface);
	const bool before = io_port_get_activelow(port, input);
	io_port_set_activelow(port, *activelow, input);
	return outcome_of(io_port_get_activelow(port, input) != before);
}

Outcome set_active(IOPort *port, const Write &write)
{
	const auto activelow = level_of(write.value);
	if (!activelow)
		return refuse_value(write);
	const bool input = is_input_interface(write.interface);
	const bool before = io_port_get_activelow(port, input);
	if (!io_port_set_activelow(port, *activelow, input))
		return refuse(write, "Setting Active failed");
	return outcome_of(*activelow != before);
}

Outcome turn(IOPort *port, bool input, const Write &write)
{
	if (port->direction == input)
		return Outcome::Unchanged;
	if (!io_port_set_direction(port, input))
		return refuse(write, "Setting Direction failed");
	legacy_counts_announce();
	return Outcome::Changed;
}

Outcome set_direction(IOPort *port, const Write &write)
{
	static constexpr const char *const kWords[] = {"output", "input"};
	const auto index = word_index(write.value, kWords);
	if (!index) {
		const std::string text = shown(write.value);
		complaints.warn("Undefined input: %s, for property: %s",
				text.c_str(), write.property);
		return refuse(write, "Bad Direction '%s'", text.c_str());
	}
	const bool input = *index == 1;
	if (port->type == PORT_IO_CTRL)
		return turn(port, input, write);
	if (io_port_direction_input(port) != input)
		return refuse(write, "Port Direction is not settable");
	return Outcome::Unchanged;
}

Outcome set_button(IOPort *port, const Write &write)
{
	const auto type = word_index(write.value, button_type_string);
	if (!type)
		return refuse_value(write);
	return outcome_of(std::exchange(port->button_type, *type) != *type);
}

Outcome set_pulse_time(IOPort *port, const Write &write)
{
	const auto time =
		static_cast<guint32>(g_variant_get_int32(write.value));
	return outcome_of(std::exchange(port->pulse_time, time) != time);
}

Outcome set_mode(IOPort *port, const Write &write)
{
	const auto mode = word_index(write.value, port_mode_string);
	const int before = io_port_get_mode(port);
	if (!mode || !io_port_set_mode(port, *mode))
		return refuse_value(write);
	return outcome_of(*mode != before);
}

Outcome set_delay_time(IOPort *port, const Write &write)
{
	const gint32 before = io_port_get_delay_time(port);
	io_port_set_delay_time(port, g_variant_get_int32(write.value));
	return outcome_of(io_port_get_delay_time(port) != before);
}

Outcome set_usage(IOPort *port, const Write &write)
{
	const auto usage = text_of(write.value);
	const bool changed = port->usage != usage;
	if (!usage || !io_port_set_usage(port, usage->c_str()))
		return refuse_value(write);
	return outcome_of(changed);
}

struct Writer {
	std::string_view property;
	Outcome (*write)(IOPort *port, const Write &write);
};

constexpr Writer kWriters[] = {
	{"Name", set_name},           {"Trig", set_trig},
	{"Direction", set_direction}, {"Active", set_active},
	{"Button", set_button},       {"PulseTime", set_pulse_time},
	{"Mode", set_mode},           {"DelayTime", set_delay_time},
	{"Usage", set_usage},
};

Outcome set_on_port(IOPort *port, const Write &write)
{
	for (const Writer &writer : kWriters) {
		if (writer.property == write.property)
			return writer.write(port, write);
	}
	return refuse(write, "Unsupported write of property '%s'",
		      write.property);
}

} // namespace

bool legacy_set_property(const char *path, const char *interface,
			 const char *property, GVariant *value, GError **error)
{
	MODULE_ASSERT(legacy::kLegacyModule, property != NULL);
	MODULE_ASSERT(legacy::kLegacyModule, path != NULL);
	const PortRef port = legacy::find_port(path, error);
	if (!port)
		return false;
	const Outcome outcome =
		set_on_port(port.get(), {interface, property, value, error});
	if (outcome == Outcome::Changed)
		handler::save(port);
	return outcome != Outcome::Refused;
}
