#include "dbus/handler-utils.h"

#include "ioport/port-list.h"
#include "params/param.h"
#include "util/paths.h"

namespace handler
{

PortRef find_port(guint number)
{
	return io_port_list_get_port(static_cast<int>(number));
}

PortRef find_ioport(guint number)
{
	PortRef port = find_port(number);
	if (port && !io_port_get_property(port.get(), "ioport"))
		return {};
	return port;
}

void save(const PortRef &port)
{
	param_save_for_port(port.get(), util::kParameterFile);
}

gboolean fail(Invocation *invocation, GQuark domain, int code, const char *text)
{
	g_dbus_method_invocation_return_error_literal(invocation, domain, code,
						      text);
	return TRUE;
}

void connect(gpointer skeleton, std::span<const Method> methods)
{
	for (const Method &method : methods)
		g_signal_connect(skeleton, method.signal, method.callback,
				 nullptr);
}

} // namespace handler
