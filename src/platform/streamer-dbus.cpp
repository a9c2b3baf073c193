#include "platform/streamer-dbus.h"

#include "ioport/port-list.h"
#include "platform/virtual-input.h"
#include "util/bus-client.h"
#include "util/rate-limit.h"
#include "util/scoped-signal.h"

#include <algorithm>
#include <cstring>
#include <list>
#include <string>
#include <utility>

namespace
{

constexpr const char *kName = "com.vexa.Streamer";
constexpr const char *kInterface = "com.vexa.Streamer.Video.Channel";
constexpr const char *kListPath = "/com/vexa/Streamer/Video/Channel";
/// No device has as many. A service that answers for every channel would be
/// asked for ever.
constexpr int kMostChannels = 256;
/// One subscription serves all channels: a bus takes 512 match rules from a
/// connection as a rule (max_match_rules_per_connection in dbus-daemon(1)).
constexpr auto kChannelFlags = G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS;

/// One followed channel.
struct Channel {
	util::ProxyPtr proxy;
	/// One more than the channel's number. By it the trigger is found that
	/// goes when the service does: that of channel 1 stays, and clients
	/// rely on that.
	int number = 0;
	/// Whether EnabledChanged is followed.
	bool followed = false;
};

util::ProxyPtr monitor_proxy;
util::ScopedSignal streamer_signal;
util::ScopedSubscription enabled_signal;
/// Newest first.
std::list<Channel> proxys;
/// Complains of what the service says.
util::RateLimit streamer_complaints;

void log_no_proxy(const util::Error &error)
{
	g_warning("Error creating proxy: %s\n", error.message());
}

bool has_properties(GDBusProxy *proxy)
{
	return util::StrvPtr(g_dbus_proxy_get_cached_property_names(proxy)) !=
	       nullptr;
}

bool is_from(const Channel &record, const char *sender, const char *path)
{
	GDBusProxy *proxy = record.proxy.get();
	return record.followed && util::is_from_owner(proxy, sender) &&
	       std::strcmp(path, g_dbus_proxy_get_object_path(proxy)) == 0;
}

void on_enabled_changed(GDBusConnection *, const char *sender, const char *path,
			const char *, const char *, GVariant *parameters,
			gpointer)
{
	const auto found = std::ranges::find_if(
		proxys, [sender, path](const Channel &record) {
			return is_from(record, sender, path);
		});
	if (found == proxys.end())
		return;
	if (!util::is_of_type(parameters, "(b)", "EnabledChanged",
			      &streamer_complaints))
		return;
	gboolean enabled = FALSE;
	g_variant_get(parameters, "(b)", &enabled);
	virtual_input_set_channel_enabled(found->number - 1, enabled != FALSE);
}

/// Takes over whether the channel is enabled; true when that can change. A
/// channel that does not say it always is, and there is nothing to follow.
bool look_at(GDBusProxy *proxy, int channel)
{
	const util::VariantPtr enabled(
		g_dbus_proxy_get_cached_property(proxy, "Enabled"));
	if (!enabled) {
		virtual_input_set_channel_enabled(channel, true);
		return false;
	}
	if (util::is_of_type(enabled.get(), "b",
			     "Enabled of video channel " +
				     std::to_string(channel),
			     &streamer_complaints))
		virtual_input_set_channel_enabled(
			channel, g_variant_get_boolean(enabled.get()) != FALSE);
	return true;
}

/// A channel that is known already, since the service was replaced, keeps one
/// record.
void add_record(util::ProxyPtr proxy, int channel, bool followed)
{
	proxys.remove_if([channel](const Channel &record) {
		return record.number == channel + 1;
	});
	proxys.push_front({std::move(proxy), channel + 1, followed});
}

/// False when there is no such channel.
bool add_channel(int channel)
{
	const std::string path = kListPath + ("/" + std::to_string(channel));
	util::Error error;
	auto proxy = util::new_proxy(
		g_dbus_proxy_get_connection(monitor_proxy.get()),
		{kName, path.c_str(), kInterface}, kChannelFlags, &error);
	if (!proxy) {
		log_no_proxy(error);
		return false;
	}
	if (!has_properties(proxy.get()))
		return false;
	const bool followed = look_at(proxy.get(), channel);
	add_record(std::move(proxy), channel, followed);
	return true;
}

void enumerate_channels()
{
	int channel = 1;
	while (channel <= kMostChannels && add_channel(channel))
		++channel;
	if (channel > kMostChannels)
		g_warning("Looking at the first %d video channels only",
			  kMostChannels);
}

void drop_channels()
{
	for (const Channel &record : std::exchange(proxys, {})) {
		const std::string name =
			"manualtrigger" + std::to_string(record.number);
		io_port_list_free_by_name(name.c_str());
	}
}

void on_streamer_changed(GDBusProxy *proxy, GParamSpec *, gpointer)
{
	if (util::has_owner(proxy))
		enumerate_channels();
	else
		drop_channels();
}

} // namespace

void streamer_dbus_init()
{
	util::Error error;
	monitor_proxy = util::new_proxy({kName, kListPath, kInterface},
					G_DBUS_PROXY_FLAGS_NONE, &error);
	if (!monitor_proxy) {
		log_no_proxy(error);
		return;
	}
	streamer_signal =
		util::ScopedSignal(monitor_proxy.get(), "notify::g-name-owner",
				   G_CALLBACK(on_streamer_changed), nullptr);
	enabled_signal = util::ScopedSubscription(
		g_dbus_proxy_get_connection(monitor_proxy.get()), kName,
		kInterface, "EnabledChanged", on_enabled_changed);
	if (util::has_owner(monitor_proxy.get()))
		enumerate_channels();
}

void streamer_dbus_finalize()
{
	streamer_signal.reset();
	enabled_signal.reset();
	monitor_proxy.reset();
	drop_channels();
}
