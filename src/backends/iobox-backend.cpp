#include "backends/iobox-backend.h"

#include "backends/backend-data.h"
#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/log.h"

#include <cstring>
#include <utility>

namespace
{

constexpr util::BusObject kMonitor = {
	.name = "com.vexa.IOBoxMonitor",
	.path = "/com/vexa/IOBoxMonitor",
	.interface = "com.vexa.IOBoxMonitor",
};

/// Complains of the monitor's signals, which every port hears. Main thread.
util::RateLimit signal_complaints;

/// The reply, which is of type @p type, or null when there is none, which has
/// been logged then. Any thread.
util::VariantPtr iobox_dbus_call(const IoboxPortData *data, const char *method,
				 GVariant *arguments, const char *type)
{
	util::Error error;
	auto reply =
		util::call(data->proxy.get(), method, arguments, type, &error);
	if (!reply)
		g_log(nullptr, util::kLogLevelUser,
		      "iobox_dbus_call@44: Failed to call method %s: %s",
		      method, error.message());
	return reply;
}

/// The same for a method that asks about one port.
util::VariantPtr ask_about(const IOPort *port, const char *method,
			   const char *type)
{
	return iobox_dbus_call(backend::data<IoboxPortData>(port), method,
			       g_variant_new("(i)", port->number), type);
}

const char *mode_word(const IOPort *port)
{
	if (io_port_supervised_input(port))
		return "supervised_in";
	return io_port_direction_input(port) ? "in" : "out";
}

/// Tells the monitor what the port works as, and an output's level.
void send_mode(const IOPort *port)
{
	const auto *data = backend::data<IoboxPortData>(port);
	if (data == nullptr || !data->proxy)
		return;
	iobox_dbus_call(data, "SetIOMode",
			g_variant_new("(iis)", port->number, data->level.load(),
				      mode_word(port)),
			util::kAnyReply);
}

const char *single_string(const util::VariantPtr &reply)
{
	const char *text = nullptr;
	g_variant_get(reply.get(), "(&s)", &text);
	return text;
}

int state_of(IOPort *port, const char *word)
{
	return iobox_state_to_orvad_state(
		word, &backend::data<IoboxPortData>(port)->complaints);
}

void take_state(IOPort *port, int state)
{
	auto *data = backend::data<IoboxPortData>(port);
	if (data->state.exchange(state) != state && data->watching)
		io_port_trigger(port, io_port_get_state(port));
}

void on_state_changed(IOPort *port, GVariant *parameters)
{
	if (!util::is_of_type(parameters, "(is)", "IOStateChanged",
			      &signal_complaints))
		return;
	gint32 number = 0;
	const char *word = nullptr;
	g_variant_get(parameters, "(i&s)", &number, &word);
	if (number == port->number)
		take_state(port, state_of(port, word));
}

void on_signal(GDBusProxy *proxy, const char *sender, const char *signal,
	       GVariant *parameters, gpointer user_data)
{
	if (std::strcmp(signal, "IOStateChanged") == 0 &&
	    util::is_from_owner(proxy, sender))
		on_state_changed(static_cast<IOPort *>(user_data), parameters);
}

/// False, which is logged, when there can be no proxy.
bool ensure_proxy(IoboxPortData *data)
{
	if (data->proxy)
		return true;
	util::Error error;
	data->proxy = util::new_proxy(
		kMonitor, G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, &error);
	if (!data->proxy)
		g_message("iobox_port_setup@168: Proxy for %s not available",
			  kMonitor.name);
	return data->proxy != nullptr;
}

bool is_connected(const IoboxPortData *data)
{
	const auto reply =
		iobox_dbus_call(data, "GetIOBoxConnected", nullptr, "(b)");
	if (!reply) {
		g_log(nullptr, util::kLogLevelUser,
		      "iobox_port_setup@180: Could not get IO box connection "
		      "status");
		return false;
	}
	gboolean connected = FALSE;
	g_variant_get(reply.get(), "(b)", &connected);
	return connected != FALSE;
}

bool is_enabled_there(const IOPort *port)
{
	const auto reply = ask_about(port, "GetIOPortStatus", "(s)");
	if (!reply) {
		g_log(nullptr, util::kLogLevelUser,
		      "iobox_port_setup@193: Could not get IO port status");
		return false;
	}
	return std::strcmp(single_string(reply), "enabled") == 0;
}

bool read_initial_state(IOPort *port)
{
	const auto reply = ask_about(port, "GetIOState", "(s)");
	if (!reply) {
		g_log(nullptr, util::kLogLevelUser,
		      "iobox_port_setup@219: Could not get initial IO state");
		return false;
	}
	backend::data<IoboxPortData>(port)->state =
		state_of(port, single_string(reply));
	return true;
}

void drive(IOPort *port, int level)
{
	auto *data = backend::data<IoboxPortData>(port);
	data->state = level > 0 ? SUPERVISED_CLOSED : SUPERVISED_OPEN;
	data->level = level;
	send_mode(port);
}

/// False when an input's state cannot be had.
bool start(IOPort *port, int level)
{
	if (io_port_direction_input(port))
		return read_initial_state(port);
	drive(port, level);
	return true;
}

void follow(IOPort *port)
{
	auto *data = backend::data<IoboxPortData>(port);
	if (data->signal_id.id() != 0)
		return;
	data->signal_id = util::ScopedSignal(data->proxy.get(), "g-signal",
					     G_CALLBACK(on_signal), port);
	if (data->signal_id.id() == 0)
		g_log(nullptr, util::kLogLevelUser,
		      "iobox_port_setup@237: Failed to setup signal handler");
}

/// The port sends no events while the box has not confirmed it.
bool iobox_port_setup(IOPort *port, int level)
{
	auto *data = backend::data<IoboxPortData>(port);
	data->available = false;
	io_port_set_enabled(port, false);
	if (!ensure_proxy(data))
		return false;
	data->available = true;
	data->state = SUPERVISED_UNDEFINED;
	if (!is_connected(data) || !is_enabled_there(port))
		return false;
	io_port_set_enabled(port, true);
	if (!start(port, level)) {
		io_port_set_enabled(port, false);
		return false;
	}
	follow(port);
	return true;
}

bool iobox_is_supervisable(IOPort *)
{
	return true;
}

bool iobox_set_supervised(IOPort *port, bool)
{
	send_mode(port);
	return true;
}

SupervisedRangeList *iobox_get_supervised_ranges(IOPort *port)
{
	return &port->supervised_ranges;
}

/// The box classifies by itself: any list will do.
bool iobox_set_supervised_ranges(IOPort *port, SupervisedRangeList *list,
				 GError **)
{
	SupervisedRangeList ranges;
	if (list != nullptr)
		ranges.swap(*list);
	const std::lock_guard lock(port->ranges_lock);
	port->supervised_ranges.swap(ranges);
	return true;
}

int iobox_get_state(IOPort *port)
{
	const auto *data = backend::data<IoboxPortData>(port);
	if (data == nullptr || !data->available)
		return 0;
	const int state = data->state;
	if (io_port_supervised_input(port))
		return state;
	switch (state) {
	case SUPERVISED_CUT:
		return 0;
	case SUPERVISED_SHORT:
		return 1;
	default:
		return state;
	}
}

bool iobox_get_supervised_readout(IOPort *port, SupervisedState *state,
				  guint32 *level, GError **)
{
	*state = static_cast<SupervisedState>(iobox_get_state(port));
	*level = 0;
	return true;
}

void iobox_set_state(IOPort *port, int level)
{
	if (backend::data<IoboxPortData>(port) != nullptr)
		drive(port, level);
}

void iobox_set_watch(IOPort *port)
{
	if (auto *data = backend::data<IoboxPortData>(port))
		data->watching = true;
}

bool iobox_set_direction(IOPort *port, bool)
{
	send_mode(port);
	return true;
}

bool iobox_parse_data(IOPort *, const char *, const char *, const char *)
{
	return true;
}

/// The record's members disconnect the handler and release the proxy.
void iobox_free(IOPort *port)
{
	backend::free_data<IoboxPortData>(port);
}

constexpr IOPortFunctions iobox_functions = {
	.setup = iobox_port_setup,
	.is_supervisable = iobox_is_supervisable,
	.set_supervised = iobox_set_supervised,
	.get_supervised_ranges = iobox_get_supervised_ranges,
	.set_supervised_ranges = iobox_set_supervised_ranges,
	.get_supervised_readout = iobox_get_supervised_readout,
	.get_state = iobox_get_state,
	.set_state = iobox_set_state,
	.set_watch = iobox_set_watch,
	.set_direction = iobox_set_direction,
	.parse_data = iobox_parse_data,
	.free = iobox_free,
	.close = nullptr,
};

} // namespace

int iobox_state_to_orvad_state(const char *word, util::RateLimit *complaints)
{
	const SupervisedState state = supervised_range_string2state(word);
	if (state == SUPERVISED_UNDEFINED)
		complaints->warn("iobox_state_to_orvad_state@67: Unrecognized "
				 "iobox supervised state: %s",
				 word);
	else
		complaints->settle();
	return static_cast<int>(state);
}

const IOPortFunctions *iobox_setup_functions(IOPort *port)
{
	backend::ensure_data<IoboxPortData>(port);
	return &iobox_functions;
}
