#include "params/param-settings.h"

#include "ioport/port-settings.h"
#include "ioport/port-supervision.h"
#include "util/log.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace
{

/// Of a port that is in order there are as many as states; more than that only
/// make the daemon slow.
constexpr unsigned kMostRanges = 1024;

/// A key of a port's group.
struct Key {
	GKeyFile *file;
	const char *group;
	const char *name;
};

enum class ReadResult {
	NEXT,
	/// Success, but the rest is not read.
	STOP,
	FAILED,
};

/// How one setting is kept. Readers set the error when they fail.
struct Setting {
	const char *key;
	bool (*applies)(IOPort *port);
	ReadResult (*read)(IOPort *port, const Key &key, GError **error);
	void (*write)(const IOPort *port, const Key &key);
};

bool is_missing(const util::Error &error)
{
	return g_error_matches(error.get(), G_KEY_FILE_ERROR,
			       G_KEY_FILE_ERROR_KEY_NOT_FOUND);
}

void set_invalid(GError **error, const Key &key, const std::string &what)
{
	g_set_error(error, G_KEY_FILE_ERROR, G_KEY_FILE_ERROR_INVALID_VALUE,
		    "The text of %s %s", key.name, what.c_str());
}

ReadResult fail(util::Error &from, GError **error)
{
	g_propagate_error(error, from.release());
	return ReadResult::FAILED;
}

/// The key's text, or none with the error set. GLib may return a text beside
/// an error.
util::CharPtr read_text(const Key &key, util::Error &error)
{
	util::CharPtr text(
		g_key_file_get_string(key.file, key.group, key.name, &error));
	if (!error && !io_port_text_fits(text.get()))
		set_invalid(&error, key, "is too long");
	if (error)
		text.reset();
	return text;
}

void write_text(const Key &key, const char *text)
{
	g_key_file_set_string(key.file, key.group, key.name, text);
}

// ---- which ports have a setting ----

bool for_configurable(IOPort *port)
{
	return port->type == PORT_IO_CTRL;
}

bool for_input_side(IOPort *port)
{
	return port->type == PORT_INPUT || port->type == PORT_IO_CTRL;
}

bool for_output_side(IOPort *port)
{
	return port->type == PORT_OUTPUT || port->type == PORT_IO_CTRL;
}

/// A port without a backend gets as far as its set-up, which ends the process.
bool for_supervisable(IOPort *port)
{
	return port->functions != nullptr && io_port_is_supervisable(port);
}

bool for_every_port(IOPort *)
{
	return true;
}

// ---- the settings ----

template <auto Flag>
ReadResult read_flag(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const bool value = g_key_file_get_boolean(key.file, key.group, key.name,
						  &own_error);
	if (own_error)
		return fail(own_error, error);
	port->*Flag = value;
	return ReadResult::NEXT;
}

template <auto Flag> void write_flag(const IOPort *port, const Key &key)
{
	const bool value = port->*Flag;
	g_key_file_set_boolean(key.file, key.group, key.name, value);
}

constexpr char kInput[] = "input";
constexpr char kOutput[] = "output";

template <std::optional<std::string> IOPort::*Name, const char *Side>
ReadResult read_name(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const util::CharPtr text = read_text(key, own_error);
	if (is_missing(own_error)) {
		(port->*Name).reset();
		util::print_out("No %s name for port %s:%d\n", Side,
				port->name->c_str(), port->number);
	}
	if (!text)
		return fail(own_error, error);
	port->*Name = text.get();
	return ReadResult::NEXT;
}

template <std::optional<std::string> IOPort::*Text>
void write_string(const IOPort *port, const Key &key)
{
	write_text(key, (port->*Text).value_or("").c_str());
}

/// Only the low 32 bits count, so that every number comes back as it was
/// written, a negative one included.
template <auto Number>
ReadResult read_number(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const guint64 value = g_key_file_get_uint64(key.file, key.group,
						    key.name, &own_error);
	if (own_error)
		return fail(own_error, error);
	using Field = std::remove_reference_t<decltype(port->*Number)>;
	port->*Number = static_cast<Field>(static_cast<guint32>(value));
	return ReadResult::NEXT;
}

/// A negative number is widened with its sign.
template <auto Number> void write_number(const IOPort *port, const Key &key)
{
	g_key_file_set_uint64(key.file, key.group, key.name,
			      static_cast<guint64>(gint64{port->*Number}));
}

ReadResult read_button_type(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const util::CharPtr word = read_text(key, own_error);
	if (!word)
		return fail(own_error, error);
	for (int type = BUTTON_NONE; type < BUTTON_COUNT; ++type) {
		if (std::strcmp(word.get(), button_type_string[type]) == 0) {
			port->button_type = type;
			return ReadResult::NEXT;
		}
	}
	return ReadResult::STOP;
}

void write_button_type(const IOPort *port, const Key &key)
{
	if (port->button_type >= BUTTON_NONE &&
	    port->button_type < BUTTON_COUNT)
		write_text(key, button_type_string[port->button_type]);
}

ReadResult read_port_mode(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const util::CharPtr word = read_text(key, own_error);
	if (!word)
		return fail(own_error, error);
	const char *bistable = port_mode_string[PORT_MODE_BISTABLE];
	port->mode = std::strcmp(word.get(), bistable) == 0
			     ? PORT_MODE_BISTABLE
			     : PORT_MODE_MONOSTABLE;
	return ReadResult::NEXT;
}

void write_port_mode(const IOPort *port, const Key &key)
{
	const int mode =
		std::clamp<int>(port->mode, PORT_MODE_NONE, PORT_MODE_BISTABLE);
	write_text(key, port_mode_string[mode]);
}

/// The ranges of @p text, or none with the error set. The text says of itself
/// what type it is of: there is no hint. States need no escapes, some of which
/// GLib fails on without an error.
util::VariantPtr parse_ranges(const Key &key, const char *text,
			      util::Error &error)
{
	if (std::strchr(text, '\\') != nullptr) {
		set_invalid(&error, key, "has a backslash");
		return nullptr;
	}
	util::VariantPtr value(
		g_variant_parse(nullptr, text, nullptr, nullptr, &error));
	if (!value)
		return nullptr;
	if (!g_variant_is_of_type(value.get(), G_VARIANT_TYPE("a(suu)")))
		set_invalid(&error, key, "is not of type a(suu)");
	else if (g_variant_n_children(value.get()) > kMostRanges)
		set_invalid(&error, key,
			    "has more than " + std::to_string(kMostRanges) +
				    " ranges");
	else
		return value;
	return nullptr;
}

/// A port without ranges is saved with an empty list, which stands for those
/// that are configured.
ReadResult read_ranges(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const util::CharPtr text = read_text(key, own_error);
	if (!text)
		return fail(own_error, error);
	const util::VariantPtr value = parse_ranges(key, text.get(), own_error);
	if (!value)
		return fail(own_error, error);
	SupervisedRangeList ranges = supervised_gvariant2ranges(value.get());
	if (ranges.empty())
		return ReadResult::NEXT;
	if (io_port_set_supervised_ranges(port, &ranges, &own_error))
		return ReadResult::NEXT;
	if (!own_error)
		set_invalid(&own_error, key, "is not for this port");
	return fail(own_error, error);
}

void write_ranges(const IOPort *port, const Key &key)
{
	const util::VariantPtr value(g_variant_ref_sink(
		supervised_ranges2gvariant(port->supervised_ranges)));
	const util::CharPtr text(g_variant_print(value.get(), TRUE));
	write_text(key, text.get());
}

/// A file from before this key existed is as good as any.
ReadResult read_usage(IOPort *port, const Key &key, GError **error)
{
	util::Error own_error;
	const util::CharPtr text = read_text(key, own_error);
	if (text) {
		port->usage = text.get();
		return ReadResult::NEXT;
	}
	if (!is_missing(own_error))
		return fail(own_error, error);
	io_port_set_usage(port, "");
	return ReadResult::NEXT;
}

/// In the order in which they are read and written. The order counts: a key
/// that cannot be read leaves those behind it unread.
constexpr Setting kSettings[] = {
	{"input", for_configurable, read_flag<&IOPort::direction>,
	 write_flag<&IOPort::direction>},
	{"input_name", for_input_side, read_name<&IOPort::input_name, kInput>,
	 write_string<&IOPort::input_name>},
	{"input_activelow", for_input_side, read_flag<&IOPort::input_activelow>,
	 write_flag<&IOPort::input_activelow>},
	{"output_name", for_output_side,
	 read_name<&IOPort::output_name, kOutput>,
	 write_string<&IOPort::output_name>},
	{"output_activelow", for_output_side,
	 read_flag<&IOPort::output_activelow>,
	 write_flag<&IOPort::output_activelow>},
	{"button_type", for_output_side, read_button_type, write_button_type},
	{"pulse_time", for_output_side, read_number<&IOPort::pulse_time>,
	 write_number<&IOPort::pulse_time>},
	{"port_mode", for_output_side, read_port_mode, write_port_mode},
	{"delay_time", for_output_side, read_number<&IOPort::delay_time>,
	 write_number<&IOPort::delay_time>},
	{"supervised_input_ranges", for_supervisable, read_ranges,
	 write_ranges},
	{"supervised_input", for_supervisable, read_flag<&IOPort::supervised>,
	 write_flag<&IOPort::supervised>},
	{"usage", for_every_port, read_usage, write_string<&IOPort::usage>},
};

/// What GLib takes as the name of a group, and finds again in the file.
bool is_group_name(const std::string &name)
{
	const auto refused = [](char c) {
		return c == '[' || c == ']' || g_ascii_iscntrl(c);
	};
	return !name.empty() && std::ranges::none_of(name, refused) &&
	       g_utf8_validate(name.data(), static_cast<gssize>(name.size()),
			       nullptr);
}

} // namespace

bool param_settings_read(IOPort *port, GKeyFile *key_file)
{
	if (!port->name) {
		util::print_err("Port does not have a name!\n");
		return false;
	}
	const char *group = port->name->c_str();
	if (!g_key_file_has_group(key_file, group))
		return false;

	for (const Setting &setting : kSettings) {
		if (!setting.applies(port))
			continue;
		util::Error error;
		const Key key = {key_file, group, setting.key};
		switch (setting.read(port, key, &error)) {
		case ReadResult::NEXT:
			continue;
		case ReadResult::STOP:
			return true;
		case ReadResult::FAILED:
			util::print_err("Error parsing param file: %s\n",
					error.message());
			return false;
		}
	}
	return true;
}

bool param_settings_write(IOPort *port, GKeyFile *key_file)
{
	if (!port->name)
		return false;
	if (!is_group_name(*port->name)) {
		const util::CharPtr name(
			g_strescape(port->name->c_str(), nullptr));
		g_warning("The settings of port \"%s\" are not kept: its name "
			  "cannot be a group's in the parameter file",
			  name.get());
		return false;
	}
	for (const Setting &setting : kSettings)
		if (setting.applies(port))
			setting.write(port, {key_file, port->name->c_str(),
					     setting.key});
	return true;
}
