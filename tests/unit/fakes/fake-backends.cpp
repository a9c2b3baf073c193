#include "fakes/fake-backends.h"

#include "fakes/recorder.h"
#include "ioport/io-errors.h"
#include "ioport/port-seam.h"

#include <utility>

namespace
{

std::atomic<bool> setup_result = true;

void make_data(IOPort *port)
{
	if (port->backend_data == nullptr)
		port->backend_data =
			std::make_unique<fake_backends::Data>().release();
}

constexpr SupervisedRange kParsedRange = {SUPERVISED_CUT, 2, 1};

constexpr char kVirtual[] = "virtual";
constexpr char kGpio[] = "gpio";
constexpr char kSysfs[] = "sysfs";
constexpr char kSpiadc[] = "spiadc";
constexpr char kIio[] = "iio";
constexpr char kIioInt[] = "iio-interrupt";
constexpr char kIobox[] = "iobox";
constexpr char kNull[] = "null";
constexpr char kCheck[] = "check";
constexpr char kFull[] = "full";

/// The slots of the backend called @p Name.
template <const char *Name> struct Slots {
	static void note(const char *slot, const IOPort *port,
			 const std::string &arguments = "")
	{
		recorder::note("%s.%s(%s%s)", Name, slot,
			       recorder::name_of(port).c_str(),
			       arguments.c_str());
	}
	static bool setup(IOPort *port, int level)
	{
		note("setup", port, ", " + std::to_string(level));
		fake_backends::Data *data = fake_backends::data(port);
		if (data != nullptr && data->setups_to_fail > 0) {
			--data->setups_to_fail;
			return false;
		}
		return setup_result;
	}
	static int get_state(IOPort *port)
	{
		const fake_backends::Data *data = fake_backends::data(port);
		return data != nullptr ? data->level.load() : 0;
	}
	static void set_state(IOPort *port, int level)
	{
		note("set_state", port, ", " + std::to_string(level));
		if (fake_backends::Data *data = fake_backends::data(port))
			data->level = level;
	}
	static void set_watch(IOPort *port)
	{
		note("set_watch", port);
	}
	static bool set_direction(IOPort *port, bool input)
	{
		note("set_direction", port, input ? ", 1" : ", 0");
		return true;
	}
	static bool parse_data(IOPort *port, const char *element,
			       const char *attribute, const char *value)
	{
		note("parse_data", port,
		     std::string(", ") + element + ", " + attribute + ", " +
			     value);
		if (std::string(element) == "range") {
			const std::lock_guard guard(port->ranges_lock);
			port->supervised_ranges.push_back(kParsedRange);
		}
		return true;
	}
	static void free(IOPort *port)
	{
		note("free", port);
		const std::unique_ptr<fake_backends::Data> owned(
			fake_backends::data(port));
		port->backend_data = nullptr;
	}
	static void close(IOPort *port)
	{
		note("close", port);
	}
};

/// The slots that only the supervised backends have.
bool is_supervisable(IOPort *port)
{
	const fake_backends::Data *data = fake_backends::data(port);
	return data != nullptr && data->supervisable;
}

bool set_supervised(IOPort *port, bool enable)
{
	Slots<kFull>::note("set_supervised", port, enable ? ", 1" : ", 0");
	return true;
}

SupervisedRangeList *get_supervised_ranges(IOPort *port)
{
	return &port->supervised_ranges;
}

bool set_supervised_ranges(IOPort *port, SupervisedRangeList *list,
			   GError **error)
{
	Slots<kFull>::note("set_supervised_ranges", port);
	if (list == nullptr) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_BAD_SUPERVISED_RANGE,
				    "Ranges is null.");
		return false;
	}
	const std::lock_guard guard(port->ranges_lock);
	port->supervised_ranges = std::exchange(*list, {});
	return true;
}

bool get_supervised_readout(IOPort *port, SupervisedState *state,
			    guint32 *level, GError **error)
{
	const fake_backends::Data *data = fake_backends::data(port);
	if (data->readout_fails) {
		g_set_error_literal(error, io_supervised_error_quark(),
				    IO_SUPERVISED_ERROR_GENERIC,
				    "The line cannot be measured");
		return false;
	}
	*state = data->readout;
	*level = static_cast<guint32>(data->level);
	return true;
}

template <const char *Name> constexpr IOPortFunctions plain_table()
{
	IOPortFunctions table = {};
	table.setup = Slots<Name>::setup;
	table.get_state = Slots<Name>::get_state;
	table.set_state = Slots<Name>::set_state;
	table.set_watch = Slots<Name>::set_watch;
	table.set_direction = Slots<Name>::set_direction;
	table.parse_data = Slots<Name>::parse_data;
	table.free = Slots<Name>::free;
	return table;
}

constexpr IOPortFunctions full_table()
{
	IOPortFunctions table = plain_table<kFull>();
	table.is_supervisable = is_supervisable;
	table.set_supervised = set_supervised;
	table.get_supervised_ranges = get_supervised_ranges;
	table.set_supervised_ranges = set_supervised_ranges;
	table.get_supervised_readout = get_supervised_readout;
	table.close = Slots<kFull>::close;
	return table;
}

constexpr IOPortFunctions virtual_table = plain_table<kVirtual>();
constexpr IOPortFunctions gpio_table = plain_table<kGpio>();
constexpr IOPortFunctions spiadc_table = plain_table<kSpiadc>();
constexpr IOPortFunctions iio_table = plain_table<kIio>();
constexpr IOPortFunctions iio_int_table = plain_table<kIioInt>();
constexpr IOPortFunctions sysfs_table = plain_table<kSysfs>();
constexpr IOPortFunctions iobox_table = plain_table<kIobox>();
constexpr IOPortFunctions null_table = plain_table<kNull>();
constexpr IOPortFunctions check_table = plain_table<kCheck>();
constexpr IOPortFunctions full = full_table();

} // namespace

namespace fake_backends
{

void set_setup_result(bool result)
{
	setup_result = result;
}

void reset()
{
	setup_result = true;
}

Data *data(const IOPort *port)
{
	return static_cast<Data *>(port->backend_data);
}

void bind_full(IOPort *port)
{
	make_data(port);
	port->functions = &full;
}

} // namespace fake_backends

const IOPortFunctions *virtual_setup_functions(IOPort *port)
{
	make_data(port);
	return &virtual_table;
}

const IOPortFunctions *libugpio_setup_functions(IOPort *port)
{
	make_data(port);
	return &gpio_table;
}

const IOPortFunctions *sysfs_setup_functions(IOPort *port)
{
	make_data(port);
	return &sysfs_table;
}

const IOPortFunctions *spiadc_setup_functions(IOPort *port)
{
	make_data(port);
	return &spiadc_table;
}

const IOPortFunctions *spi_setup_functions(IOPort *port)
{
	make_data(port);
	return &full;
}

const IOPortFunctions *iio_setup_functions()
{
	return &iio_table;
}

const IOPortFunctions *iio_int_setup_functions()
{
	return &iio_int_table;
}

const IOPortFunctions *iobox_setup_functions(IOPort *port)
{
	make_data(port);
	return &iobox_table;
}

const IOPortFunctions *null_setup_functions()
{
	return &null_table;
}

const IOPortFunctions *check_setup_functions(IOPort *port)
{
	make_data(port);
	return &check_table;
}
