#include "platform/coordinator-dbus.h"

#include "platform/virtual-input.h"
#include "util/bus-client.h"
#include "util/rate-limit.h"
#include "util/scoped-signal.h"

#include <cstring>
#include <optional>

namespace
{

constexpr util::BusObject kCoordinator = {
	.name = "com.vexa.PTZ.Coordinator",
	.path = "/com/vexa/PTZ/Coordinator/1",
	.interface = "com.vexa.PTZ.Coordinator",
};

util::ProxyPtr coordinator_proxy;
util::ScopedSignal coordinator_signal;
util::ScopedSignal ptz_signal;
/// Complains of what the coordinator says.
util::RateLimit coordinator_complaints;

PtzEnabled ptz_from(gboolean enabled)
{
	return enabled ? PTZ_ON : PTZ_OFF;
}

/// What the coordinator says, or that there is none; nothing when what it says
/// cannot be understood.
std::optional<PtzEnabled> read_ptz()
{
	if (!coordinator_proxy || !util::has_owner(coordinator_proxy.get()))
		return PTZ_UNKNOWN;
	const util::VariantPtr enabled(g_dbus_proxy_get_cached_property(
		coordinator_proxy.get(), "PTZEnabled"));
	if (!enabled)
		return PTZ_UNKNOWN;
	if (!util::is_of_type(enabled.get(), "b", "PTZEnabled",
			      &coordinator_complaints))
		return {};
	return ptz_from(g_variant_get_boolean(enabled.get()));
}

void on_coordinator_changed(GDBusProxy *, GParamSpec *, gpointer)
{
	if (const auto value = read_ptz())
		virtual_input_set_ptz_enabled(*value);
}

void on_coordinator_signal(GDBusProxy *proxy, const char *sender,
			   const char *signal, GVariant *parameters, gpointer)
{
	if (std::strcmp(signal, "PtzEnabledChanged") != 0 ||
	    !util::is_from_owner(proxy, sender))
		return;
	if (!util::is_of_type(parameters, "(ib)", "PtzEnabledChanged",
			      &coordinator_complaints))
		return;
	gboolean enabled = FALSE;
	g_variant_get(parameters, "(ib)", nullptr, &enabled);
	virtual_input_set_ptz_enabled(ptz_from(enabled));
}

void connect_signals()
{
	coordinator_signal = util::ScopedSignal(
		coordinator_proxy.get(), "notify::g-name-owner",
		G_CALLBACK(on_coordinator_changed), nullptr);
	ptz_signal =
		util::ScopedSignal(coordinator_proxy.get(), "g-signal",
				   G_CALLBACK(on_coordinator_signal), nullptr);
}

} // namespace

void coordinator_dbus_init()
{
	util::Error error;
	coordinator_proxy =
		util::new_proxy(kCoordinator, G_DBUS_PROXY_FLAGS_NONE, &error);
	if (coordinator_proxy)
		connect_signals();
	else
		g_warning("Error creating proxy: %s\n", error.message());
	virtual_input_set_ptz_enabled(read_ptz().value_or(PTZ_UNKNOWN));
}

void coordinator_dbus_finalize()
{
	coordinator_signal.reset();
	ptz_signal.reset();
	coordinator_proxy.reset();
}
