#include "dbus/iosupervised-handlers.h"

#include "dbus/handler-utils.h"
#include "ioport/io-errors.h"
#include "ioport/port-list.h"
#include "ioport/port-settings.h"
#include "ioport/port-supervision.h"

namespace
{

using handler::find_ioport;
using handler::find_port;
using handler::Invocation;
using handler::save;

constexpr const char *kNotSupervisable = "Port is not supervisable.";

gboolean fail(Invocation *invocation, IOSupervisedError code, const char *text)
{
	return handler::fail(invocation, io_supervised_error_quark(), code,
			     text);
}

gboolean fail_no_such_port(Invocation *invocation)
{
	return fail(invocation, IO_SUPERVISED_ERROR_NO_PORT, "No such port.");
}

/// Passes @p error on as it is; when there is none, it is a generic one with
/// @p text.
gboolean fail_with(Invocation *invocation, util::Error &error, const char *text)
{
	if (!error)
		return fail(invocation, IO_SUPERVISED_ERROR_GENERIC, text);
	g_dbus_method_invocation_take_error(invocation, error.release());
	return TRUE;
}

/// The port with that number, real or virtual, if it can be supervised. Else
/// none, and the call is answered, with @p text when there is such a port.
PortRef find_supervisable(Invocation *invocation, guint number,
			  const char *text = kNotSupervisable)
{
	PortRef port = find_port(number);
	if (!port)
		fail_no_such_port(invocation);
	else if (!io_port_is_supervisable(port.get()))
		fail(invocation, IO_SUPERVISED_ERROR_NOT_SUPERVISABLE, text);
	else
		return port;
	return {};
}

gboolean on_handle_get_number_of_ports(IOSupervisedSupervised *object,
				       Invocation *invocation, gpointer)
{
	iosupervised_supervised_complete_get_number_of_ports(
		object, invocation, io_port_list_nbr_inputs(),
		io_port_list_nbr_outputs());
	return TRUE;
}

gboolean on_handle_is_supervisable(IOSupervisedSupervised *object,
				   Invocation *invocation, guint number,
				   gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_such_port(invocation);
	iosupervised_supervised_complete_is_supervisable(
		object, invocation, io_port_is_supervisable(port.get()), FALSE);
	return TRUE;
}

gboolean on_handle_get_supervised(IOSupervisedSupervised *object,
				  Invocation *invocation, guint number,
				  gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_such_port(invocation);
	iosupervised_supervised_complete_get_supervised(object, invocation,
							port->supervised);
	return TRUE;
}

/// False when the port cannot be supervised.
bool change_supervised(const PortRef &port, bool supervised)
{
	if (!io_port_set_supervised(port.get(), supervised))
		return false;
	save(port);
	// Which of them apply depends on whether the port is supervised.
	io_port_redeclare_events(port.get());
	return true;
}

gboolean on_handle_set_supervised(IOSupervisedSupervised *object,
				  Invocation *invocation, guint number,
				  gboolean supervised, gpointer)
{
	const PortRef port = find_ioport(number);
	if (!port)
		return fail_no_such_port(invocation);
	const bool wanted = supervised != FALSE;
	if (port->supervised != wanted && !change_supervised(port, wanted))
		return fail(invocation, IO_SUPERVISED_ERROR_NOT_SUPERVISABLE,
			    kNotSupervisable);
	iosupervised_supervised_complete_set_supervised(object, invocation);
	return TRUE;
}

gboolean on_handle_set_supervised_ranges(IOSupervisedSupervised *object,
					 Invocation *invocation, guint number,
					 const char *state, guint lower,
					 guint upper, gpointer)
{
	const PortRef port = find_supervisable(invocation, number);
	if (!port)
		return TRUE;
	util::Error error;
	if (!io_port_add_supervised_range(port.get(), state, lower, upper,
					  &error))
		return fail_with(invocation, error, "Could not set ranges.");
	save(port);
	iosupervised_supervised_complete_set_supervised_ranges(object,
							       invocation);
	return TRUE;
}

gboolean on_handle_get_supervised_ranges(IOSupervisedSupervised *object,
					 Invocation *invocation, guint number,
					 gpointer)
{
	const PortRef port = find_supervisable(invocation, number);
	if (!port)
		return TRUE;
	SupervisedRangeList *ranges = nullptr;
	if (!io_port_get_supervised_ranges(port.get(), &ranges))
		return fail(invocation, IO_SUPERVISED_ERROR_GENERIC,
			    "Could not get ranges.");
	iosupervised_supervised_complete_get_supervised_ranges(
		object, invocation, supervised_ranges2gvariant(*ranges));
	return TRUE;
}

gboolean on_handle_get_supervised_readout(IOSupervisedSupervised *object,
					  Invocation *invocation, guint number,
					  gpointer)
{
	const PortRef port = find_supervisable(invocation, number);
	if (!port)
		return TRUE;
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	if (!io_port_get_supervised_readout(port.get(), &state, &level, &error))
		return fail_with(invocation, error,
				 "Could not get supervised readout.");
	iosupervised_supervised_complete_get_supervised_readout(
		object, invocation, supervised_range_state2string(state),
		level);
	return TRUE;
}

GVariant *words_variant(const std::vector<std::string> &words)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("a(s)"));
	for (const std::string &word : words)
		g_variant_builder_add(&builder, "(s)", word.c_str());
	return g_variant_builder_end(&builder);
}

/// Clients know this method's refusal without its full stop.
gboolean on_handle_get_supervised_states(IOSupervisedSupervised *object,
					 Invocation *invocation, guint number,
					 gpointer)
{
	const PortRef port = find_supervisable(invocation, number,
					       "Port is not supervisable");
	if (!port)
		return TRUE;
	std::vector<std::string> states;
	if (!io_port_get_supported_states(port.get(), &states))
		return fail(invocation, IO_SUPERVISED_ERROR_GENERIC,
			    "Could not get supported states.");
	iosupervised_supervised_complete_get_supervised_states(
		object, invocation, static_cast<guint>(states.size()),
		words_variant(states));
	return TRUE;
}

gboolean on_handle_get_supervised_port_numbers(IOSupervisedSupervised *object,
					       Invocation *invocation, gpointer)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE("au"));
	for (const int number : io_port_list_get_supervised_port_numbers())
		g_variant_builder_add(&builder, "u",
				      static_cast<guint32>(number));
	iosupervised_supervised_complete_get_supervised_port_numbers(
		object, invocation, g_variant_builder_end(&builder));
	return TRUE;
}

const handler::Method kSupervisedMethods[] = {
	{"handle-get-number-of-ports",
	 G_CALLBACK(on_handle_get_number_of_ports)},
	{"handle-is-supervisable", G_CALLBACK(on_handle_is_supervisable)},
	{"handle-get-supervised", G_CALLBACK(on_handle_get_supervised)},
	{"handle-set-supervised", G_CALLBACK(on_handle_set_supervised)},
	{"handle-set-supervised-ranges",
	 G_CALLBACK(on_handle_set_supervised_ranges)},
	{"handle-get-supervised-ranges",
	 G_CALLBACK(on_handle_get_supervised_ranges)},
	{"handle-get-supervised-readout",
	 G_CALLBACK(on_handle_get_supervised_readout)},
	{"handle-get-supervised-states",
	 G_CALLBACK(on_handle_get_supervised_states)},
	{"handle-get-supervised-port-numbers",
	 G_CALLBACK(on_handle_get_supervised_port_numbers)},
};

} // namespace

void iosupervised_connect_handlers(IOSupervisedSupervised *skeleton)
{
	handler::connect(skeleton, kSupervisedMethods);
}
