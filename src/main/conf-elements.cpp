#include "main/conf-elements.h"

#include "ioport/port-seam.h"
#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"

#include <initializer_list>
#include <string_view>

namespace
{

/// A second number on a port that already had one from here on is suspicious.
constexpr int FIRST_VIRTUAL_PORT = 6;

struct Word {
	const char *text;
	int value;
};

bool equal_ignoring_case(const char *text, const char *word)
{
	return g_ascii_strcasecmp(text, word) == 0;
}

/// Stores what @p text stands for; any other text leaves @p field alone.
template <typename T>
void store_word(T *field, const char *text, std::initializer_list<Word> words)
{
	for (const Word &word : words) {
		if (equal_ignoring_case(text, word.text))
			*field = static_cast<T>(word.value);
	}
}

void store_boolean(bool *field, const char *text)
{
	store_word(field, text, {{"true", 1}, {"false", 0}});
}

int to_int(const char *text)
{
	return static_cast<int>(g_ascii_strtoll(text, nullptr, 10));
}

IOEvent *current_event(IOPort *port)
{
	return port->events.empty() ? nullptr : port->events.front().get();
}

void apply_port(IOPort *port, std::string_view attribute, const char *value)
{
	if (attribute == "name")
		port->name = value;
	else if (attribute == "optional")
		port->optional = std::string_view(value) == "true";
}

void reset_direction(IOPort *port)
{
	if (port->type != PORT_IO_CTRL)
		port->direction = port->type == PORT_INPUT;
}

void apply_port_type(IOPort *port, std::string_view attribute,
		     const char *value)
{
	const std::string_view type = value;
	if (attribute != "type")
		return;
	if (type == "input")
		port->type = PORT_INPUT;
	else if (type == "output")
		port->type = PORT_OUTPUT;
	else if (type == "io_ctrl")
		port->type = PORT_IO_CTRL;
	else
		g_critical("Unsupported port type %s\n", value);
	reset_direction(port);
}

void apply_properties(IOPort *port, std::string_view attribute,
		      const char *value)
{
	io_port_add_property(port, std::string(attribute).c_str(), value);
}

void apply_port_no(IOPort *port, std::string_view attribute, const char *value)
{
	if (attribute != "nbr")
		return;
	if (port->number >= FIRST_VIRTUAL_PORT)
		g_warning("You have a port with higher number than "
			  "FIRST_VIRTUAL_PORT this might lead to unexpected "
			  "behaviour");
	port->number = to_int(value);
}

void apply_default_name(IOPort *port, std::string_view attribute,
			const char *value)
{
	if (attribute == "input" && !port->input_name)
		port->input_name = value;
	else if (attribute == "output" && !port->output_name)
		port->output_name = value;
}

void store_pulse_time(IOPort *port, const char *value)
{
	char *end = nullptr;
	const guint64 time = g_ascii_strtoull(value, &end, 10);
	if (end != value)
		port->pulse_time = static_cast<guint32>(time);
}

void apply_defaults(IOPort *port, std::string_view attribute, const char *value)
{
	if (attribute == "dir")
		store_word(&port->direction, value,
			   {{"input", 1}, {"output", 0}});
	else if (attribute == "port_mode")
		store_word(&port->mode, value,
			   {{"bistable", PORT_MODE_BISTABLE},
			    {"monostable", PORT_MODE_MONOSTABLE}});
	else if (attribute == "button_type")
		store_word(&port->button_type, value,
			   {{"none", BUTTON_NONE},
			    {"pulse", BUTTON_PULSE},
			    {"actinact", BUTTON_ACTINACT}});
	else if (attribute == "pulse_time")
		store_pulse_time(port, value);
	else if (attribute == "usage")
		port->usage = value;
}

void apply_backend(IOPort *port, std::string_view attribute, const char *value)
{
	static constexpr std::pair<std::string_view, IOBackend> kKinds[] = {
		{"gpio", BACKEND_GPIO},
		{"spiadc", BACKEND_SPIADC},
		{"spi", BACKEND_SPI},
		{"iio", BACKEND_IIO},
		{"sysfs", BACKEND_SYSFS},
		{"iio-interrupt", BACKEND_IIO_INTERRUPT},
		{"virtual", BACKEND_VIRTUAL},
		{"iobox", BACKEND_IOBOX},
		{"null", BACKEND_NULL},
		{"check", BACKEND_CHECK},
	};
	if (attribute != "name")
		return;
	for (const auto &[name, kind] : kKinds) {
		if (name == value)
			io_port_set_backend(port, kind);
	}
}

void apply_event(IOPort *port, std::string_view attribute, const char *value)
{
	IOEvent *event = current_event(port);
	if (event == nullptr)
		return;
	if (attribute == "declaration")
		event->name = value;
	else if (attribute == "output")
		store_boolean(&event->for_output, value);
	else if (attribute == "input")
		store_boolean(&event->for_input, value);
	else if (attribute == "supervised_input")
		store_boolean(&event->for_supervised, value);
	else if (attribute == "declare_only")
		store_boolean(&event->declare_only, value);
}

void apply_keyvalue(IOPort *port, std::string_view attribute, const char *value)
{
	IOEvent *event = current_event(port);
	if (event == nullptr || event->keys.empty())
		return;
	EventKey &key = event->keys.front();
	if (attribute == "key")
		key.key = value;
	else if (attribute == "value")
		key.value = value;
	else if (attribute == "type")
		key.type = value;
	else if (attribute == "key-nice-name")
		key.key_nice_name = value;
	else if (attribute == "value-nice-name")
		key.value_nice_name = value;
	else if (attribute == "property")
		store_boolean(&key.property, value);
}

void apply_first_virtual_input(IOPort *, std::string_view attribute,
			       const char *value)
{
	if (attribute == "nbr")
		virtual_input_set_first_port_no(to_int(value));
}

struct Element {
	std::string_view name;
	void (*apply)(IOPort *port, std::string_view attribute,
		      const char *value);
};

constexpr Element kElements[] = {
	{"port", apply_port},
	{"port_type", apply_port_type},
	{"properties", apply_properties},
	{"port_no", apply_port_no},
	{"param_default_name", apply_default_name},
	{"param_defaults", apply_defaults},
	{"backend", apply_backend},
	{"event", apply_event},
	{"keyvalue", apply_keyvalue},
	{"first_virtual_input", apply_first_virtual_input},
};

} // namespace

void conf_apply_attribute(IOPort *port, const char *element,
			  const char *attribute, const char *value)
{
	if (!io_port_text_fits(value)) {
		g_warning("Ignoring %s of %s on port %d: it is too long",
			  attribute, element, port->number);
		return;
	}
	for (const Element &known : kElements) {
		if (known.name == element)
			known.apply(port, attribute, value);
	}
}

void conf_create_record(IOPort *port, const char *element)
{
	const std::string_view name = element;
	if (name == "event") {
		port->events.emplace_front(new IOEvent);
		return;
	}
	if (name != "keyvalue")
		return;
	if (IOEvent *event = current_event(port); event != nullptr)
		event->keys.emplace_front();
	else
		g_warning("Ignoring a key without an event on port %d",
			  port->number);
}
