#include "dbus/connector-handlers.h"

#include "dbus/handler-utils.h"
#include "ioport/port-list.h"
#include "ioport/port-state.h"

#include <cstring>

namespace
{

using handler::Invocation;

/// The kinds of connectors that a client asks for.
struct Selection {
	bool video;
	bool audio;
};

Selection parse_selection(const char *descriptor)
{
	const bool all = std::strcmp(descriptor, "*") == 0;
	return {
		.video = all ||
			 g_ascii_strcasecmp(descriptor, "video connector") == 0,
		.audio = all ||
			 g_ascii_strcasecmp(descriptor, "audio connector") == 0,
	};
}

bool is_selected(const IOPort *port, const Selection &selection)
{
	return (selection.video &&
		io_port_get_property(port, "video_connector")) ||
	       (selection.audio &&
		io_port_get_property(port, "audio_connector"));
}

/// Calls @p function with each connector that @p descriptor selects, in list
/// order, with the list's lock held.
template <typename Function>
void for_each_connector(const char *descriptor, Function function)
{
	const Selection selection = parse_selection(descriptor);
	const PortListGuard guard;
	for (const PortRef &port : io_port_list_get()) {
		if (is_selected(port.get(), selection))
			function(port.get());
	}
}

gboolean on_handle_get_num_connectors(QELConnector *object,
				      Invocation *invocation,
				      const char *descriptor, gpointer)
{
	gint32 count = 0;
	for_each_connector(descriptor, [&count](IOPort *) { ++count; });
	qelconnector_complete_get_num_connectors(object, invocation, count);
	return TRUE;
}

gboolean on_handle_get_connector_states(QELConnector *object,
					Invocation *invocation,
					const char *descriptor, gpointer)
{
	GVariantBuilder states;
	g_variant_builder_init(&states, G_VARIANT_TYPE("ai"));
	for_each_connector(descriptor, [&states](IOPort *port) {
		g_variant_builder_add(&states, "i", io_port_get_state(port));
	});
	qelconnector_complete_get_connector_states(
		object, invocation, g_variant_builder_end(&states));
	return TRUE;
}

const handler::Method kConnectorMethods[] = {
	{"handle-get-num-connectors", G_CALLBACK(on_handle_get_num_connectors)},
	{"handle-get-connector-states",
	 G_CALLBACK(on_handle_get_connector_states)},
};

} // namespace

void connector_connect_handlers(QELConnector *skeleton)
{
	handler::connect(skeleton, kConnectorMethods);
}
