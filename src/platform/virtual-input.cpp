#include "platform/virtual-input.h"

#include "ioport/port-list.h"
#include "ioport/port-sequence.h"
#include "ioport/port-settings.h"
#include "platform/coordinator-dbus.h"
#include "platform/streamer-dbus.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace
{

constexpr int kFirstChannel = 1;

/// Guards what is below, and the updates of the triggers. Taken before the port
/// list's lock.
std::mutex virtual_input_mutex;
/// In the order of their first report.
std::vector<int> enabled_channels;
PtzEnabled ptz_enabled = PTZ_OFF;

PortRef create_trigger(int channel, bool enabled)
{
	PortRef port = io_port_create_manual_trigger(channel);
	io_port_set_enabled(port.get(), enabled);
	io_port_list_add(port);
	return port;
}

/// `virtual_input_mutex` is held.
void update_trigger(int channel, bool enabled)
{
	const std::string name = "manualtrigger" + std::to_string(channel);
	const PortRef port = io_port_list_get_by_name(name.c_str());
	if (!port)
		create_trigger(channel, enabled);
	else if (ptz_enabled != PTZ_OFF)
		io_port_set_enabled(port.get(), enabled);
}

void remember_channel(int channel, bool enabled)
{
	const auto found = std::ranges::find(enabled_channels, channel);
	const bool known = found != enabled_channels.end();
	if (enabled && !known)
		enabled_channels.push_back(channel);
	else if (!enabled && known)
		enabled_channels.erase(found);
}

/// Enables the trigger of every enabled channel; false when PTZ is off or
/// there is none.
bool enable_triggers(PtzEnabled value)
{
	const std::lock_guard guard(virtual_input_mutex);
	ptz_enabled = value;
	if (value == PTZ_OFF || enabled_channels.empty())
		return false;
	for (const int channel : enabled_channels)
		update_trigger(channel, true);
	return true;
}

} // namespace

void virtual_input_init()
{
	if (!virtual_input_configured())
		return;
	streamer_dbus_init();
	coordinator_dbus_init();
}

void virtual_input_finalize()
{
	const std::lock_guard guard(virtual_input_mutex);
	for (const int channel : enabled_channels)
		update_trigger(channel, false);
	if (virtual_input_configured()) {
		streamer_dbus_finalize();
		coordinator_dbus_finalize();
	}
	enabled_channels.clear();
}

void virtual_input_set_channel_enabled(int channel, bool enabled)
{
	const std::lock_guard guard(virtual_input_mutex);
	remember_channel(channel, enabled);
	update_trigger(channel, ptz_enabled == PTZ_OFF
					? channel == kFirstChannel
					: enabled);
}

void virtual_input_set_ptz_enabled(PtzEnabled value)
{
	if (!enable_triggers(value))
		virtual_input_set_channel_enabled(kFirstChannel, true);
}
