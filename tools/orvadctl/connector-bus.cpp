#include "connector-bus.h"

namespace orvadctl
{

namespace
{

constexpr const char *CONNECTOR_NAME = "com.vexa.QEL.Connector";
constexpr const char *CONNECTOR_PATH = "/com/vexa/QEL/Connector";

} // namespace

ConnectorPtr open_connector(IOControlState *daemon, GError **error)
{
	GDBusProxy *proxy = G_DBUS_PROXY(daemon);
	ConnectorPtr connector(qelconnector_proxy_new_sync(
		g_dbus_proxy_get_connection(proxy),
		g_dbus_proxy_get_flags(proxy), CONNECTOR_NAME, CONNECTOR_PATH,
		nullptr, error));

	if (connector)
		g_dbus_proxy_set_default_timeout(
			G_DBUS_PROXY(connector.get()),
			g_dbus_proxy_get_default_timeout(proxy));
	return connector;
}

void explain_connector_error(GError **error)
{
	explain_interface_error(error, "connectors");
}

} // namespace orvadctl
