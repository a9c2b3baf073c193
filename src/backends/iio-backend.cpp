#include "backends/iio-backend.h"

#include "backends/backend-data.h"
#include "backends/file-name.h"
#include "backends/iio-sysfs.h"
#include "backends/parse-number.h"
#include "backends/range-parser.h"
#include "backends/supervised-backend.h"
#include "ioport/io-errors.h"
#include "ioport/port-seam.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace
{

constexpr const char *kIioModule = "iio-backend.c";

/// Making a folder here makes a timer trigger (Documentation/iio/
/// iio_configfs.rst).
constexpr char kTimerTriggers[] = "/sys/kernel/config/iio/triggers/hrtimer/";

// ---- measuring ----

bool classify(IOPort *port, gint32 readout, SupervisedState *state,
	      guint32 *level, GError **error)
{
	*level = static_cast<guint32>(readout);
	return supervised_classify_port(port, *level, state, error);
}

/// Reads one sample; one of no bytes is 0 without reading. A device that says
/// that it has data and has none is a fault like any other.
bool read_sample(IioPortData *data, GError **error)
{
	std::array<guint8, kIioLargestSample> bytes = {};
	if (data->bytes == 0) {
		data->last_readout = 0;
		return true;
	}
	errno = ENODATA;
	const ssize_t length = read(data->fd.get(), bytes.data(), data->bytes);
	if (length > 0) {
		data->limits.read_error.settle();
		data->last_readout = iio_decode(data->iio_type, bytes.data(),
						data->bytes, data->value_shift);
		return true;
	}
	const char *reason = g_strerror(errno);
	data->limits.read_error.warn("read Error: %s", reason);
	g_set_error_literal(error, io_supervised_error_quark(),
			    IO_SUPERVISED_ERROR_GENERIC, reason);
	return false;
}

bool handle_sample(IOPort *port)
{
	auto *data = backend::data<IioPortData>(port);
	SupervisedState state = SUPERVISED_UNDEFINED;
	guint32 level = 0;
	util::Error error;
	const bool read =
		read_sample(data, &error) &&
		classify(port, data->last_readout, &state, &level, &error);
	if (read)
		data->limits.readout_error.settle();
	else
		data->limits.readout_error.warn("Readout failed: %s",
						error.message());
	if (state != data->last_state) {
		io_port_trigger(port, static_cast<int>(state));
		data->last_state = state;
	}
	return read && data->bytes > 0;
}

/// What the last sample means by the ranges of now.
bool iio_get_supervised_readout(IOPort *port, SupervisedState *state,
				guint32 *level, GError **error)
{
	const auto *data = backend::data<IioPortData>(port);
	*state = SUPERVISED_UNDEFINED;
	if (data == nullptr) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_GENERIC,
				    "The port is closed");
		return false;
	}
	return classify(port, data->last_readout, state, level, error);
}

// ---- plain and supervised mode ----

/// The buffer keeps the oldest samples, of a time when nobody looked.
void discard_samples(const IioPortData *data)
{
	constexpr int kMost = 4096;
	std::array<guint8, kIioLargestSample> bytes;
	for (int i = 0; i < kMost; ++i)
		if (read(data->fd.get(), bytes.data(), data->bytes) <= 0)
			return;
}

void watch_samples(IOPort *port, bool supervised)
{
	auto *data = backend::data<IioPortData>(port);
	if (!supervised) {
		data->lines.watch_edges(port);
		data->data_watch.stop();
		return;
	}
	data->lines.stop_watching();
	if (data->data_watch.is_on())
		return;
	discard_samples(data);
	data->last_state = SUPERVISED_UNDEFINED;
	data->data_watch.start(data->fd.get(), data->dev_path,
			       [port] { return handle_sample(port); });
}

void iio_set_watch(IOPort *port)
{
	if (port->backend_data != nullptr)
		watch_samples(port, io_port_supervised_input(port));
}

bool iio_set_supervised(IOPort *port, bool enable)
{
	const auto *data = backend::data<IioPortData>(port);
	if (data == nullptr)
		return false;
	watch_samples(port, enable);
	if (!io_port_input(port) && !io_port_set_direction(port, true))
		return false;
	data->lines.set_control_pins(port);
	return true;
}

bool iio_set_direction(IOPort *port, bool input)
{
	auto *data = backend::data<IioPortData>(port);
	if (data == nullptr)
		return false;
	data->lines.stop_watching();
	data->data_watch.stop();
	return data->lines.set_direction(port, input);
}

// ---- set-up of the converter ----

std::string device_folder(int number)
{
	return std::string(kIioDevices) + kIioDevicePrefix +
	       std::to_string(number);
}

/// Whether it has been made now.
bool make_trigger(const std::string &name)
{
	constexpr mode_t kMode = 0775;
	const std::string folder = kTimerTriggers + name;
	if (g_file_test(folder.c_str(), G_FILE_TEST_IS_DIR))
		return false;
	const bool made = mkdir(folder.c_str(), kMode) == 0;
	if (!made)
		g_warning("Failed to create sysfs directory '%s': %s",
			  folder.c_str(), g_strerror(errno));
	return made;
}

/// Writes how fast the timer goes.
bool set_frequency(const std::string &freq, int trigger, bool just_made)
{
	const std::string file = std::string(kIioDevices) + kIioTriggerPrefix +
				 std::to_string(trigger) +
				 "/sampling_frequency";
	if (just_made)
		iio_wait_for_access(file);
	return iio_write_sysfs(file, freq);
}

/// Has the converter sample at the pace of the timer.
bool set_up_trigger(const IioPortData *data, int adc)
{
	int trigger = -1;
	bool made = false;
	if (backend::is_file_name(data->hrtimer)) {
		made = make_trigger(data->hrtimer);
		trigger = iio_get_device_number_with_type(data->hrtimer.c_str(),
							  IIO_TRIGGER);
	}
	if (trigger == -1) {
		g_warning("Failed to find trigger");
		return false;
	}
	if (!set_frequency(data->freq, trigger, made))
		return false;
	const std::string current =
		device_folder(adc) + "/trigger/current_trigger";
	std::string present;
	iio_read_sysfs(current, &present);
	return present == data->hrtimer ||
	       iio_write_sysfs(current, data->hrtimer);
}

/// What the names of the channel's two attributes begin with.
std::string channel_attribute(const IioPortData *data,
			      const std::string &folder)
{
	const std::string only = folder + "/scan_elements/in_voltage";
	if (g_file_test((only + "_en").c_str(), G_FILE_TEST_EXISTS))
		return only;
	return only + std::to_string(data->voltage_channel);
}

bool read_type(IioPortData *data, const std::string &path)
{
	std::string text;
	const int reason = iio_read_sysfs(path, &text) ? EINVAL : errno;
	const auto type = iio_parse_type(text);
	if (!type) {
		g_warning("Failed to find device type: %s", g_strerror(reason));
		return false;
	}
	data->iio_type = *type;
	return true;
}

/// The converters that the rest of the module is made for.
void check_type(const IioPortData *backend)
{
	MODULE_ASSERT(kIioModule, backend->iio_type.sign == 'u');
	MODULE_ASSERT(kIioModule, backend->iio_type.bits <= 32);
	MODULE_ASSERT(kIioModule, backend->iio_type.size <= 32);
	MODULE_ASSERT(kIioModule, backend->iio_type.size % 8 == 0);
}

/// Chooses the channel and has the converter fill its buffer.
bool set_up_buffer(IioPortData *data, int device)
{
	constexpr unsigned kByteBits = 8;
	const std::string folder = device_folder(device);
	const std::string channel = channel_attribute(data, folder);
	if (!read_type(data, channel + "_type"))
		return false;
	check_type(data);
	data->bytes = data->iio_type.size / kByteBits;
	if (!iio_write_sysfs(folder + "/buffer/enable", 0) ||
	    !iio_write_sysfs(channel + "_en", 1) ||
	    !iio_write_sysfs(folder + "/buffer/enable", 1))
		return false;
	// A device that says that it has data and has none must not hold the
	// daemon up.
	data->fd.reset(open(data->dev_path.c_str(),
			    O_RDONLY | O_CLOEXEC | O_NONBLOCK));
	if (!data->fd.valid())
		g_warning("Failed to open device: %s", g_strerror(errno));
	return data->fd.valid();
}

bool set_up_device(IioPortData *data)
{
	const int device = iio_get_device_number(data->name.c_str());
	const int adc = iio_get_device_number(data->adc.c_str());
	if (device == -1 || adc == -1) {
		g_warning("Failed to find device name: %d %d", device, adc);
		return false;
	}
	data->dev_path = std::string("/dev/") + kIioDevicePrefix +
			 std::to_string(device);
	return set_up_trigger(data, adc) && set_up_buffer(data, device);
}

// ---- set-up of the port ----

void release_hardware(IioPortData *data)
{
	data->data_watch.stop();
	data->lines.release();
	data->fd.reset();
}

bool iio_setup(IOPort *port, int state)
{
	auto *data = backend::data<IioPortData>(port);
	MODULE_ASSERT(kIioModule, data != NULL);
	release_hardware(data);
	if (!data->lines.set_up(
		    port, state != 0,
		    {
			    .function = "iio_setup",
			    .control_call = "iio_set_control_pins (port)",
			    .sioctrl_is_optional = false,
			    .pull_up = false,
		    }))
		return false;
	if (port->type == PORT_OUTPUT || set_up_device(data))
		return true;
	g_warning("Failed to setup iio device.");
	return false;
}

// ---- configuration ----

/// One for all ports: the configuration has one range after the other.
RangeParser iio_ranges;

gint32 parse_number(const char *text)
{
	return backend::parse_int(text, backend::kDecimal);
}

void parse_device_item(IioPortData *data, const char *key, const char *value)
{
	if (std::strcmp(key, "name") == 0)
		data->name = value;
	else if (std::strcmp(key, "adc") == 0)
		data->adc = value;
	else if (std::strcmp(key, "hrtimer") == 0)
		data->hrtimer = value;
	else if (std::strcmp(key, "freq") == 0)
		data->freq = value;
	else if (std::strcmp(key, "shift") == 0)
		data->value_shift = parse_number(value);
	else if (std::strcmp(key, "channel") == 0)
		data->voltage_channel = parse_number(value);
}

bool iio_parse_data(IOPort *port, const char *group, const char *key,
		    const char *value)
{
	auto *data = backend::ensure_data<IioPortData>(port);
	if (data->lines.parse(group, key, value))
		return true;
	if (std::strcmp(group, "device") == 0)
		parse_device_item(data, key, value);
	else if (std::strcmp(group, "range") == 0)
		if (const auto range = iio_ranges.parse(key, value))
			add_parsed_range(port, *range);
	return true;
}

// ---- the table ----

int iio_get_state(IOPort *port)
{
	const auto *data = backend::data<IioPortData>(port);
	return data != nullptr ? data->lines.get_state(port) : -1;
}

void iio_set_state(IOPort *port, int state)
{
	if (const auto *data = backend::data<IioPortData>(port))
		data->lines.set_state(port, state);
}

void iio_free(IOPort *port)
{
	if (auto *data = backend::data<IioPortData>(port))
		release_hardware(data);
	backend::free_data<IioPortData>(port);
}

constexpr IOPortFunctions iio_functions = {
	.setup = iio_setup,
	.is_supervisable = supervised_is_supervisable,
	.set_supervised = iio_set_supervised,
	.get_supervised_ranges = supervised_get_supervised_ranges,
	.set_supervised_ranges = supervised_set_supervised_ranges,
	.get_supervised_readout = iio_get_supervised_readout,
	.get_state = iio_get_state,
	.set_state = iio_set_state,
	.set_watch = iio_set_watch,
	.set_direction = iio_set_direction,
	.parse_data = iio_parse_data,
	.free = iio_free,
	.close = nullptr,
};

} // namespace

const IOPortFunctions *iio_setup_functions()
{
	return &iio_functions;
}
