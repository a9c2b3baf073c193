#include "backends/iio-int-backend.h"

#include "backends/backend-data.h"
#include "backends/iio-int-config.h"
#include "backends/iio-int-setup.h"
#include "backends/iio-sample.h"
#include "backends/supervised-backend.h"
#include "ioport/io-errors.h"
#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"

namespace
{

constexpr const char *kIioIntModule = "iio-int-backend.c";
/// Milliseconds until a level that moved while it was armed is looked at.
constexpr guint kSecondLook = 10;

IioIntPortData *data_of(const IOPort *port)
{
	return backend::data<IioIntPortData>(port);
}

const char *name_of(const IOPort *port)
{
	return port->name ? port->name->c_str() : "(null)";
}

// ---- measuring ----

guint32 read_level(IioIntPortData *data)
{
	const std::lock_guard lock(data->read_lock);
	const guint32 level = iio_read_raw(data->channel, &data->read_error) >>
			      iio_shift_count(data->bitshift);
	data->last_readout = level;
	return level;
}

bool classify(IOPort *port, guint32 level, SupervisedState *state,
	      GError **error)
{
	const auto *data = data_of(port);
	if (data->mode != IIO_INT_ADC)
		return supervised_classify_port(port, level, state, error);
	*state = supervised_classify(data->ranges, level);
	return true;
}

bool measure(IOPort *port, bool cached, SupervisedState *state, guint32 *level,
	     GError **error)
{
	auto *data = data_of(port);
	*state = SUPERVISED_UNDEFINED;
	if (data == nullptr) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_GENERIC,
				    "The port is closed");
		return false;
	}
	*level = cached ? data->last_readout.load() : read_level(data);
	return classify(port, *level, state, error);
}

/// The state of the range that the level is in is the port's line state.
int state_as_level(IOPort *port)
{
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	measure(port, false, &state, &level, nullptr);
	return static_cast<int>(state);
}

bool iio_int_get_supervised_readout(IOPort *port, SupervisedState *state,
				    guint32 *level, GError **error)
{
	const auto *data = data_of(port);
	return measure(port, data != nullptr && data->cache_ad_value, state,
		       level, error);
}

void report(IOPort *port, SupervisedState state)
{
	auto *data = data_of(port);
	if (state == data->last_state)
		return;
	io_port_trigger(port, static_cast<int>(state));
	data->last_state = state;
}

// ---- arming ----

bool is_beyond_limit(const IioIntPortData *data, guint32 level)
{
	constexpr guint32 kNone = IioIntPortData::kNoLimit;
	return (data->lower_limit != kNone && level <= data->lower_limit) ||
	       (data->upper_limit != kNone && level >= data->upper_limit);
}

/// Null when the port has none to offer.
const SupervisedRangeList *ranges_of(IOPort *port)
{
	const auto *data = data_of(port);
	if (data->mode == IIO_INT_ADC)
		return &data->ranges;
	SupervisedRangeList *ranges = nullptr;
	io_port_get_supervised_ranges(port, &ranges);
	return ranges;
}

/// The thresholds wrap as 32-bit numbers do.
void set_thresholds(const IioIntPortData *data, const SupervisedRange &range)
{
	const guint32 above = range.upper_limit + data->hysteresis;
	const guint32 below = range.lower_limit - data->hysteresis;
	const IioThresholds &thresholds = data->listener.thresholds;
	if (!data->one_threshold) {
		thresholds.set_rising(above << iio_shift_count(data->bitshift));
		thresholds.set_falling(below
				       << iio_shift_count(data->bitshift));
		thresholds.enable(true);
	} else if (range.lower_limit != 0) {
		thresholds.set_falling(below);
		thresholds.enable_falling();
	} else {
		thresholds.set_rising(above);
		thresholds.enable_rising();
	}
}

/// Whether the level is beyond the thresholds of that range. The converter
/// tells of a crossing only: not of a level that moved before they were set.
bool is_beyond_thresholds(const IioIntPortData *data,
			  const SupervisedRange &range, guint32 level)
{
	const gint64 above = gint64{range.upper_limit} + data->hysteresis;
	const gint64 below = gint64{range.lower_limit} - data->hysteresis;
	if (!data->one_threshold)
		return level > above || level < below;
	return range.lower_limit != 0 ? level < below : level > above;
}

gboolean on_limit_poll(gpointer user_data);
gboolean on_second_look(gpointer user_data);

void arm_around(IOPort *port, const SupervisedRange &range)
{
	auto *data = data_of(port);
	set_thresholds(data, range);
	if (is_beyond_thresholds(data, range, read_level(data)))
		data->limit_poll_id.reset(
			g_timeout_add(kSecondLook, on_second_look, port));
}

/// Has the converter tell when the level leaves the range that it is in, whose
/// state is returned. A level in no range leaves the events as they are; none
/// is returned.
std::optional<SupervisedState> arm(IOPort *port)
{
	auto *data = data_of(port);
	const SupervisedRangeList *ranges = ranges_of(port);
	if (ranges == nullptr)
		return std::nullopt;
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	if (!measure(port, false, &state, &level, &error)) {
		g_warning("Couldn't read adc value for %s\n", name_of(port));
		return std::nullopt;
	}
	const SupervisedRange *range = supervised_find_range(*ranges, level);
	if (range == nullptr)
		return std::nullopt;
	data->limit_poll_id.reset();
	if (is_beyond_limit(data, level))
		data->limit_poll_id.reset(g_timeout_add(data->limit_timeout,
							on_limit_poll, port));
	else
		arm_around(port, *range);
	return state;
}

/// Reports a state and arms; the level may have moved in between.
void follow(IOPort *port, SupervisedState state)
{
	report(port, state);
	if (const auto armed = arm(port))
		report(port, *armed);
}

/// Arming ends this poll, and begins another where one is needed: what is
/// returned is about a source that may be gone, which GLib allows.
gboolean on_limit_poll(gpointer user_data)
{
	auto *port = static_cast<IOPort *>(user_data);
	auto *data = data_of(port);
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	if (!measure(port, false, &state, &level, &error)) {
		g_warning("Unable to read from port %s\n", name_of(port));
		return G_SOURCE_CONTINUE;
	}
	if (is_beyond_limit(data, level))
		report(port, state);
	else
		follow(port, state);
	return G_SOURCE_CONTINUE;
}

void on_event(IOPort *port)
{
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	if (!measure(port, false, &state, &level, &error))
		g_warning("Readout failed: %s", error.message());
	follow(port, state);
}

/// As if the event that was missed had come.
gboolean on_second_look(gpointer user_data)
{
	auto *port = static_cast<IOPort *>(user_data);
	auto *data = data_of(port);
	data->limit_poll_id.release();
	data->listener.thresholds.enable(false);
	on_event(port);
	return G_SOURCE_REMOVE;
}

// ---- plain and supervised mode ----

void events_on(IOPort *port)
{
	auto *data = data_of(port);
	data->last_state = SUPERVISED_UNDEFINED;
	iio_int_add_listener(&data->listener);
	arm(port);
}

void events_off(IioIntPortData *data)
{
	data->limit_poll_id.reset();
	if (data->listener.thresholds.are_open())
		data->listener.thresholds.enable(false);
	iio_int_remove_listener(&data->listener);
}

void watch_levels(IOPort *port, bool supervised)
{
	auto *data = data_of(port);
	if (supervised || data->mode == IIO_INT_ADC) {
		data->lines.stop_watching();
		events_on(port);
	} else {
		data->lines.watch_edges(port);
		events_off(data);
	}
}

void iio_int_set_watch(IOPort *port)
{
	if (port->backend_data != nullptr)
		watch_levels(port, io_port_supervised_input(port));
}

bool iio_int_set_supervised(IOPort *port, bool enable)
{
	const auto *data = data_of(port);
	if (data == nullptr)
		return false;
	watch_levels(port, enable);
	if (!io_port_input(port) && !io_port_set_direction(port, true))
		return false;
	if (data->mode != IIO_INT_ADC)
		data->lines.set_control_pins(port,
					     data->pullup_when_supervised);
	return true;
}

bool iio_int_set_direction(IOPort *port, bool input)
{
	auto *data = data_of(port);
	if (data == nullptr)
		return false;
	data->lines.stop_watching();
	events_off(data);
	return data->mode == IIO_INT_ADC ||
	       data->lines.set_direction(port, input,
					 data->pullup_when_supervised);
}

// ---- set-up of the port ----

/// What a port has of its own; the converter's events stay open for the others.
void release_hardware(IioIntPortData *data)
{
	events_off(data);
	data->lines.release();
	data->listener.thresholds.close();
}

bool iio_int_setup(IOPort *port, int state)
{
	auto *data = data_of(port);
	MODULE_ASSERT(kIioIntModule, data != NULL);
	release_hardware(data);
	data->listener.port = port;
	data->listener.voltage_channel = data->voltage_channel;
	data->listener.on_event = on_event;
	if (data->mode == IIO_INT_THRESHOLD &&
	    !data->lines.set_up(
		    port, state != 0,
		    {
			    .function = "iio_int_setup_gpio",
			    .control_call = "iio_int_set_control_pins (port)",
			    .sioctrl_is_optional = true,
			    .pull_up = data->pullup_when_supervised,
		    }))
		return false;
	return port->type == PORT_OUTPUT || iio_int_set_up_device(data);
}

/// The first port that closes takes the shared converter down.
void iio_int_close(IOPort *port)
{
	auto *data = data_of(port);
	if (data == nullptr)
		return;
	release_hardware(data);
	iio_int_close_device(data->listener.dev_path);
}

// ---- the table ----

bool iio_int_is_supervisable(IOPort *port)
{
	const auto *data = data_of(port);
	return (data == nullptr || data->mode != IIO_INT_ADC) &&
	       supervised_is_supervisable(port);
}

int iio_int_get_state(IOPort *port)
{
	const auto *data = data_of(port);
	if (data == nullptr)
		return -1;
	if (data->mode == IIO_INT_ADC || io_port_supervised_input(port))
		return state_as_level(port);
	return data->lines.get_state(port);
}

void iio_int_set_state(IOPort *port, int state)
{
	if (const auto *data = data_of(port))
		data->lines.set_state(port, state);
}

void iio_int_free(IOPort *port)
{
	iio_int_close(port);
	backend::free_data<IioIntPortData>(port);
}

constexpr IOPortFunctions iio_int_functions = {
	.setup = iio_int_setup,
	.is_supervisable = iio_int_is_supervisable,
	.set_supervised = iio_int_set_supervised,
	.get_supervised_ranges = supervised_get_supervised_ranges,
	.set_supervised_ranges = supervised_set_supervised_ranges,
	.get_supervised_readout = iio_int_get_supervised_readout,
	.get_state = iio_int_get_state,
	.set_state = iio_int_set_state,
	.set_watch = iio_int_set_watch,
	.set_direction = iio_int_set_direction,
	.parse_data = iio_int_parse_data,
	.free = iio_int_free,
	.close = iio_int_close,
};

} // namespace

const IOPortFunctions *iio_int_setup_functions()
{
	return &iio_int_functions;
}
