#include "dbus/legacy-get.h"

#include "dbus/legacy-object.h"
#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "util/assert.h"

#include <string_view>

namespace
{

constexpr const char *kNoText = "<NULL>";

GVariant *text_variant(const std::optional<std::string> &text)
{
	return g_variant_new_string(text ? text->c_str() : kNoText);
}

GVariant *level_variant(bool activelow)
{
	return g_variant_new_string(io_port_activelow_word(activelow));
}

GVariant *count_variant(unsigned count)
{
	return g_variant_new_int32(static_cast<gint32>(count));
}

GVariant *get_name(const IOPort *port, std::string_view interface)
{
	if (interface == legacy::kInputInterface)
		return text_variant(port->input_name);
	if (interface == legacy::kOutputInterface)
		return text_variant(port->output_name);
	return text_variant(port->direction ? port->input_name
					    : port->output_name);
}

GVariant *get_nbr_of_ioports(const IOPort *, std::string_view)
{
	return count_variant(io_port_list_nbr_outputs() +
			     io_port_list_nbr_inputs());
}

GVariant *get_trig(const IOPort *port, std::string_view)
{
	return level_variant(port->input_activelow);
}

GVariant *get_active(const IOPort *port, std::string_view)
{
	return level_variant(port->output_activelow);
}

GVariant *get_configurable(const IOPort *port, std::string_view)
{
	if (!io_port_get_ioport(port))
		return nullptr;
	return g_variant_new_boolean(port->type == PORT_IO_CTRL);
}

GVariant *get_direction(const IOPort *port, std::string_view)
{
	if (!io_port_get_ioport(port))
		return nullptr;
	return g_variant_new_string(io_port_direction_input(port) ? "input"
								  : "output");
}

GVariant *get_button(const IOPort *port, std::string_view)
{
	return g_variant_new_string(button_type_string[port->button_type]);
}

GVariant *get_pulse_time(const IOPort *port, std::string_view)
{
	return g_variant_new_int32(static_cast<gint32>(port->pulse_time));
}

GVariant *get_mode(const IOPort *port, std::string_view)
{
	return g_variant_new_string(port_mode_string[io_port_get_mode(port)]);
}

GVariant *get_delay_time(const IOPort *port, std::string_view)
{
	return g_variant_new_int32(io_port_get_delay_time(port));
}

/// An empty usage is none.
GVariant *get_usage(const IOPort *port, std::string_view)
{
	return text_variant(port->usage != "" ? port->usage : std::nullopt);
}

struct Reader {
	std::string_view property;
	/// Null when there is no value.
	GVariant *(*read)(const IOPort *port, std::string_view interface);
};

constexpr Reader kReaders[] = {
	{"Name", get_name},           {"NbrOfIOPorts", get_nbr_of_ioports},
	{"Trig", get_trig},           {"Configurable", get_configurable},
	{"Direction", get_direction}, {"Active", get_active},
	{"Button", get_button},       {"PulseTime", get_pulse_time},
	{"Mode", get_mode},           {"DelayTime", get_delay_time},
	{"Usage", get_usage},
};

/// What is the same on every object; null for any other property.
GVariant *get_global(std::string_view property)
{
	if (property == "NbrOfInputs")
		return count_variant(io_port_list_nbr_inputs());
	if (property == "NbrOfOutputs")
		return count_variant(io_port_list_nbr_outputs());
	if (property == "ManualTriggerNbr")
		return count_variant(
			static_cast<guint32>(
				virtual_input_get_first_port_no()) +
			1U);
	return nullptr;
}

GVariant *get_of_port(const IOPort *port, std::string_view interface,
		      std::string_view property)
{
	for (const Reader &reader : kReaders) {
		if (reader.property == property)
			return reader.read(port, interface);
	}
	return nullptr;
}

} // namespace

GVariant *legacy_get_property(const char *path, const char *interface,
			      const char *property, GError **error)
{
	MODULE_ASSERT(legacy::kLegacyModule, property != NULL);
	MODULE_ASSERT(legacy::kLegacyModule, path != NULL);
	MODULE_ASSERT(legacy::kLegacyModule, interface != NULL);
	if (GVariant *value = get_global(property))
		return value;
	const PortRef port = legacy::find_port(path, error);
	if (!port)
		return nullptr;
	GVariant *value = get_of_port(port.get(), interface, property);
	if (value == nullptr)
		g_set_error(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
			    "Property '%s' has no value", property);
	return value;
}
