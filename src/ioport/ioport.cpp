#include "ioport/ioport.h"

#include "ioport/port-seam.h"
#include "ioport/port-sequence.h"
#include "util/assert.h"

const char *const button_type_string[BUTTON_COUNT] = {
	"none",
	"pulse",
	"actinact",
};

const char *const port_mode_string[PORT_MODE_COUNT] = {
	"",
	"monostable",
	"bistable",
};

namespace
{

using TableCall = const IOPortFunctions *(*)(IOPort *port);

/// By kind.
constexpr TableCall kTableCalls[BACKEND_COUNT] = {
	virtual_setup_functions,
	libugpio_setup_functions,
	spiadc_setup_functions,
	spi_setup_functions,
	[](IOPort *) { return iio_setup_functions(); },
	[](IOPort *) { return iio_int_setup_functions(); },
	sysfs_setup_functions,
	iobox_setup_functions,
	[](IOPort *) { return null_setup_functions(); },
	check_setup_functions,
};

TableCall table_call(int kind)
{
	return kind >= 0 && kind < BACKEND_COUNT ? kTableCalls[kind] : nullptr;
}

/// No table may ever work on another backend's record.
void release_record_of_other_backend(IOPort *port, int kind)
{
	if (port->functions == nullptr || port->bound_backend == kind)
		return;
	port->functions->free(port);
	port->backend_items.clear();
}

/// The destructor frees what the port had, without the lock.
void store_ranges(IOPort *port, SupervisedRangeList ranges)
{
	const std::lock_guard guard(port->ranges_lock);
	port->supervised_ranges.swap(ranges);
}

/// A backend without a close operation is closed by freeing its record. The
/// ranges are the port's, and users may have set them since.
void restore_private_record(IOPort *port)
{
	const TableCall call = table_call(port->bound_backend);
	if (port->backend_data != nullptr || call == nullptr)
		return;
	call(port);
	SupervisedRangeList ranges = port->supervised_ranges;
	for (const BackendItem &item : port->backend_items)
		port->functions->parse_data(port, item.element.c_str(),
					    item.attribute.c_str(),
					    item.value.c_str());
	store_ranges(port, std::move(ranges));
}

/// Ends a running sequence and gives up everything that the port owns.
void release_contents(IOPort *port)
{
	io_port_lock_exclusive(port);
	port->released = true;
	port->enabled = false;
	port->events.clear();
	store_ranges(port, {});
	port->lock.unlock();

	port->name.reset();
	port->input_name.reset();
	port->output_name.reset();
	port->usage.reset();
	port->properties.reset();
	if (port->functions != nullptr)
		port->functions->free(port);
	port->is_setup = false;
}

/// True when the caller's was the last reference.
bool drop_reference(IOPort *port)
{
	return port->ref_count.fetch_sub(1, std::memory_order_seq_cst) == 1;
}

} // namespace

void IOEventDeleter::operator()(IOEvent *event) const
{
	io_event_free(event);
}

IOPort::IOPort()
	: properties(g_hash_table_new_full(g_str_hash, g_str_equal, g_free,
					   nullptr))
{
}

IOPort *io_port_new()
{
	return new IOPort;
}

void io_port_ref(IOPort *port)
{
	if (port != nullptr)
		port->ref_count.fetch_add(1, std::memory_order_seq_cst);
}

void io_port_unref(IOPort *port)
{
	if (port == nullptr || !drop_reference(port))
		return;
	if (!port->released)
		release_contents(port);
	delete port;
}

void io_port_free(IOPort *port)
{
	release_contents(port);
	if (drop_reference(port))
		delete port;
}

const IOPortFunctions *io_port_set_backend(IOPort *port, int kind)
{
	port->backend = kind;
	const TableCall call = table_call(kind);
	if (call == nullptr)
		return nullptr;
	release_record_of_other_backend(port, kind);
	port->functions = call(port);
	port->bound_backend = kind;
	return port->functions;
}

bool io_port_setup(IOPort *port)
{
	MODULE_ASSERT(kPortModule, port != NULL);
	MODULE_ASSERT(kPortModule, port->functions != NULL);
	restore_private_record(port);
	port->setting_up = true;
	const bool success =
		port->functions->setup(port, port->output_activelow);
	port->setting_up = false;
	if (success)
		port->is_setup = true;
	return success;
}

void io_port_close(IOPort *port)
{
	if (port->functions == nullptr)
		return;
	io_port_lock_exclusive(port);
	if (port->functions->close != nullptr)
		port->functions->close(port);
	else
		port->functions->free(port);
	port->lock.unlock();
}

bool io_port_parse_backend_data(IOPort *port, const char *element,
				const char *attribute, const char *value)
{
	if (port->functions == nullptr)
		return false;
	port->backend_items.push_back({element, attribute, value});
	return port->functions->parse_data(port, element, attribute, value);
}

void io_port_add_property(IOPort *port, const char *key, const char *value)
{
	const bool is_true = g_ascii_strcasecmp(value, "true") == 0;
	g_hash_table_replace(port->properties.get(), g_strdup(key),
			     GINT_TO_POINTER(is_true));
}

bool io_port_lookup_property(const IOPort *port, const char *key, bool *value)
{
	gpointer stored = nullptr;
	if (!port->properties ||
	    !g_hash_table_lookup_extended(port->properties.get(), key, nullptr,
					  &stored))
		return false;
	*value = GPOINTER_TO_INT(stored) != 0;
	return true;
}

bool io_port_get_property(const IOPort *port, const char *key)
{
	bool value = false;
	return io_port_lookup_property(port, key, &value) && value;
}

GList *io_port_get_property_keys(const IOPort *port)
{
	return port->properties ? g_hash_table_get_keys(port->properties.get())
				: nullptr;
}

GList *io_port_get_property_values(const IOPort *port)
{
	return port->properties
		       ? g_hash_table_get_values(port->properties.get())
		       : nullptr;
}
