#include "dbus/iocontrol-handlers.h"

#include "dbus/handler-utils.h"
#include "dbus/iocontrol-conf-legacy-dbus.h"
#include "dbus/legacy-counts.h"
#include "dbus/service-registry.h"
#include "ioport/io-errors.h"
#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "util/glib-ptr.h"
#include "util/process-state.h"

namespace
{

using handler::find_ioport;
using handler::find_port;
using handler::Invocation;
using handler::save;

/// Bytes. Half of what a bus takes as a rule before it disconnects the sender
/// (max_message_size in dbus-daemon(1)).
constexpr gsize kLargestReply = 16 * 1024 * 1024;

gboolean fail(Invocation *invocation, IOControlError code, const char *text)
{
	return handler::fail(invocation, io_control_error_quark(), code, text);
}

gboolean fail_no_port(Invocation *invocation)
{
	return fail(invocation, IO_CONTROL_ERROR_NO_PORT, "No such port.");
}

const char *text_or_empty(const std::optional<std::string> &text)
{
	return text ? text->c_str() : "";
}

/// What follows a change of the list: the older configuration system learns of
/// it, and the ports that came into service are watched and announced.
void resynchronise()
{
	if (use_legacy_interface()) {
		iocontrol_conf_legacy_dbus_destroy();
		generate_service_registry();
		iocontrol_conf_legacy_dbus_create();
	}
	io_port_list_set_watch();
	io_port_list_declare_events();
}

bool drop_port(const char *name)
{
	const PortRef port = io_port_list_get_by_name(name);
	if (!port || !port->optional)
		return false;
	io_port_close(port.get());
	io_port_list_move_to_dynamic(port.get());
	return true;
}

gboolean on_handle_drop_ioports(IOControlState *object, Invocation *invocation,
				const char *const *names, gpointer)
{
	std::vector<const char *> dropped;
	for (const char *const *name = names; *name != nullptr; ++name) {
		if (drop_port(*name))
			dropped.push_back(*name);
	}
	if (!dropped.empty())
		resynchronise();
	dropped.push_back(nullptr);
	iocontrol_state_complete_drop_ioports(object, invocation,
					      dropped.data());
	return TRUE;
}

gboolean on_handle_refresh_ioports(IOControlState *object,
				   Invocation *invocation, gpointer)
{
	if (io_port_list_setup_dynamic_ports() > 0)
		resynchronise();
	iocontrol_state_complete_refresh_ioports(object, invocation);
	return TRUE;
}

gboolean on_handle_get_nbr_ports(IOControlState *object, Invocation *invocation,
				 gpointer)
{
	iocontrol_state_complete_get_nbr_ports(object, invocation,
					       io_port_list_nbr_inputs(),
					       io_port_list_nbr_outputs());
	return TRUE;
}

GVariant *properties_variant(const IOPort *port)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(sb)"));
	const util::ListPtr keys(io_port_get_property_keys(port));
	const util::ListPtr values(io_port_get_property_values(port));
	const GList *value = values.get();
	for (const GList *key = keys.get(); key != nullptr; key = key->next) {
		g_variant_builder_add(&builder, "(sb)",
				      static_cast<const char *>(key->data),
				      GPOINTER_TO_INT(value->data));
		value = value->next;
	}
	return g_variant_builder_end(&builder);
}

GVariant *port_variant(IOPort *port)
{
	const bool input = io_port_input(port);
	return g_variant_new(
		"(sibbbb@a(sb))", text_or_empty(port->name), port->number,
		io_port_get_state(port), io_port_direction_input(port),
		port->type == PORT_IO_CTRL, io_port_get_activelow(port, input),
		properties_variant(port));
}

gboolean on_handle_get_port_props(IOControlState *object,
				  Invocation *invocation, gpointer)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(sibbbba(sb))"));
	int count = 0;
	{
		const PortListGuard guard;
		for (const PortRef &port : io_port_list_get()) {
			g_variant_builder_add_value(&builder,
						    port_variant(port.get()));
			++count;
		}
	}
	const util::VariantPtr ports(
		g_variant_ref_sink(g_variant_builder_end(&builder)));
	if (g_variant_get_size(ports.get()) > kLargestReply)
		return handler::fail(
			invocation, G_DBUS_ERROR, G_DBUS_ERROR_LIMITS_EXCEEDED,
			"The ports' names are too long for one reply.");
	iocontrol_state_complete_get_port_props(object, invocation, count,
						ports.get());
	return TRUE;
}

gboolean on_handle_set_state(IOControlState *object, Invocation *invocation,
			     guint number, gboolean active, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	if (!io_port_set_state(port.get(), active))
		return fail(invocation, IO_CONTROL_ERROR_NOT_OUTPUT,
			    "Port not output.");
	iocontrol_state_complete_set_state(object, invocation);
	save(port);
	return TRUE;
}

gboolean on_handle_get_state(IOControlState *object, Invocation *invocation,
			     guint number, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	iocontrol_state_complete_get_state(object, invocation,
					   io_port_get_state(port.get()));
	return TRUE;
}

gboolean on_handle_is_configurable(IOControlState *object,
				   Invocation *invocation, guint number,
				   gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	iocontrol_state_complete_is_configurable(object, invocation,
						 port->type == PORT_IO_CTRL);
	return TRUE;
}

gboolean on_handle_get_direction(IOControlState *object, Invocation *invocation,
				 guint number, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	iocontrol_state_complete_get_direction(
		object, invocation,
		io_port_input(port.get()) ? "input" : "output");
	return TRUE;
}

void set_direction(const PortRef &port, IOControlState *object,
		   Invocation *invocation, std::string_view direction)
{
	if (direction != "input" && direction != "output") {
		fail(invocation, IO_CONTROL_ERROR_GENERIC,
		     "Incorrect input to set_direction eiter use 'input' or "
		     "'output'");
	} else if (!io_port_set_direction(port.get(), direction == "input")) {
		fail(invocation, IO_CONTROL_ERROR_NOT_CONFIGURABLE,
		     "Port not configurable.");
	} else {
		legacy_counts_announce();
		iocontrol_state_complete_set_direction(object, invocation);
	}
}

/// Clients rely on the settings being saved even when the call fails.
gboolean on_handle_set_direction(IOControlState *object, Invocation *invocation,
				 guint number, const char *direction, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	set_direction(port, object, invocation, direction);
	save(port);
	return TRUE;
}

gboolean on_handle_get_active(IOControlState *object, Invocation *invocation,
			      guint number, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	iocontrol_state_complete_get_active(
		object, invocation,
		io_port_activelow_word(io_port_get_activelow(port.get(), true)),
		io_port_activelow_word(
			io_port_get_activelow(port.get(), false)));
	return TRUE;
}

void set_active(const PortRef &port, IOControlState *object,
		Invocation *invocation, bool input, std::string_view state)
{
	const auto open = io_port_parse_activelow(state);
	if (!open)
		fail(invocation, IO_CONTROL_ERROR_GENERIC,
		     "Incorrect input to set_active eiter use 'open' or "
		     "'closed'");
	else if (!io_port_set_activelow(port.get(), *open, input))
		fail(invocation, IO_CONTROL_ERROR_GENERIC,
		     *open ? "Could not set port to open."
			   : "Could not set port to closed.");
	else
		iocontrol_state_complete_set_active(object, invocation);
}

/// As for the direction, saved whatever the outcome.
gboolean on_handle_set_active(IOControlState *object, Invocation *invocation,
			      guint number, gboolean input, const char *state,
			      gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	set_active(port, object, invocation, input, state);
	save(port);
	return TRUE;
}

std::vector<ActionStep> action_steps(IOPort *port, bool virtual_step,
				     GVariant *sequence)
{
	std::vector<ActionStep> steps;
	steps.reserve(g_variant_n_children(sequence));
	GVariantIter iter;
	g_variant_iter_init(&iter, sequence);
	gboolean state = FALSE;
	gint32 duration = 0;
	while (g_variant_iter_next(&iter, "(bi)", &state, &duration))
		steps.push_back({port, virtual_step, state != 0, duration});
	return steps;
}

gboolean on_handle_start_action_sequence(IOControlState *object,
					 Invocation *invocation, guint number,
					 gboolean virtual_step,
					 GVariant *sequence, gpointer)
{
	PortRef port = find_port(number);
	if (!port)
		return fail_no_port(invocation);
	auto steps = action_steps(port.get(), virtual_step, sequence);
	if (steps.empty())
		return fail(invocation, IO_CONTROL_ERROR_GENERIC,
			    "Empty action sequence.");
	if (io_port_lock_taken(port.get()))
		return fail(invocation, IO_CONTROL_ERROR_BUSY,
			    "The port is busy.");
	if (!io_port_run_action_sequence(port, std::move(steps)))
		return fail(invocation, IO_CONTROL_ERROR_NOT_OUTPUT,
			    "Port not output.");
	iocontrol_state_complete_start_action_sequence(object, invocation);
	return TRUE;
}

gboolean on_handle_get_names(IOControlState *object, Invocation *invocation,
			     guint number, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	std::optional<std::string> input;
	std::optional<std::string> output;
	io_port_get_names(port.get(), &input, &output);
	iocontrol_state_complete_get_names(object, invocation,
					   text_or_empty(input),
					   text_or_empty(output));
	return TRUE;
}

gboolean on_handle_set_name(IOControlState *object, Invocation *invocation,
			    guint number, gboolean input, const char *name,
			    gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	const bool stored = input ? io_port_set_input_name(port.get(), name)
				  : io_port_set_output_name(port.get(), name);
	if (!stored)
		return fail(invocation, IO_CONTROL_ERROR_GENERIC,
			    input ? "Could not set input name for the port."
				  : "Could not set output name for the port.");
	iocontrol_state_complete_set_name(object, invocation);
	save(port);
	return TRUE;
}

gboolean on_handle_get_usage(IOControlState *object, Invocation *invocation,
			     guint number, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	const auto usage = io_port_get_usage(port.get());
	iocontrol_state_complete_get_usage(object, invocation,
					   text_or_empty(usage));
	return TRUE;
}

gboolean on_handle_set_usage(IOControlState *object, Invocation *invocation,
			     guint number, const char *usage, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_port(invocation);
	if (!io_port_set_usage(port.get(), usage))
		return fail(invocation, IO_CONTROL_ERROR_GENERIC,
			    "Could not set usage for the port.");
	iocontrol_state_complete_set_usage(object, invocation);
	save(port);
	return TRUE;
}

/// Ports found by number are real or virtual; this method serves both.
gboolean on_handle_set_virtual(IOControlState *object, Invocation *invocation,
			       guint number, gboolean state, gpointer)
{
	const PortRef port = find_port(number);
	if (!port)
		return fail_no_port(invocation);
	if (!io_port_set_virtual(port.get(), state))
		return fail(invocation, IO_CONTROL_ERROR_GENERIC,
			    "Could not set port.");
	iocontrol_state_complete_set_virtual(object, invocation);
	save(port);
	return TRUE;
}

const handler::Method kStateMethods[] = {
	{"handle-drop-ioports", G_CALLBACK(on_handle_drop_ioports)},
	{"handle-refresh-ioports", G_CALLBACK(on_handle_refresh_ioports)},
	{"handle-get-nbr-ports", G_CALLBACK(on_handle_get_nbr_ports)},
	{"handle-get-port-props", G_CALLBACK(on_handle_get_port_props)},
	{"handle-set-state", G_CALLBACK(on_handle_set_state)},
	{"handle-get-state", G_CALLBACK(on_handle_get_state)},
	{"handle-is-configurable", G_CALLBACK(on_handle_is_configurable)},
	{"handle-get-direction", G_CALLBACK(on_handle_get_direction)},
	{"handle-set-direction", G_CALLBACK(on_handle_set_direction)},
	{"handle-get-active", G_CALLBACK(on_handle_get_active)},
	{"handle-set-active", G_CALLBACK(on_handle_set_active)},
	{"handle-start-action-sequence",
	 G_CALLBACK(on_handle_start_action_sequence)},
	{"handle-get-names", G_CALLBACK(on_handle_get_names)},
	{"handle-set-name", G_CALLBACK(on_handle_set_name)},
	{"handle-get-usage", G_CALLBACK(on_handle_get_usage)},
	{"handle-set-usage", G_CALLBACK(on_handle_set_usage)},
	{"handle-set-virtual", G_CALLBACK(on_handle_set_virtual)},
};

} // namespace

void iocontrol_connect_handlers(IOControlState *skeleton)
{
	handler::connect(skeleton, kStateMethods);
}
