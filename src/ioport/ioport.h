#pragma once

/// The record of one port, its life, its binding to a backend and its
/// properties. What can be done with a port is in the headers beside this one:
/// port-state.h, port-settings.h, port-sequence.h, port-supervision.h.

#include "ioport/io-event.h"
#include "ioport/supervised-utils.h"
#include "util/glib-ptr.h"
#include "util/rate-limit.h"

#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct IOPort;

/// What the assertions of the port model name.
inline constexpr char kPortModule[] = "ioport.c";

/// The fixed kind of a port; the numbers are part of the configuration format.
enum IOPortType : int {
	PORT_INPUT = 0,
	PORT_OUTPUT = 1,
	/// A pin that can be switched between input and output ("io_ctrl").
	PORT_IO_CTRL = 2,
};

/// Backend kinds, the value of IOPort::backend.
enum IOBackend {
	BACKEND_VIRTUAL = 0,
	BACKEND_GPIO = 1,
	BACKEND_SPIADC = 2,
	BACKEND_SPI = 3,
	BACKEND_IIO = 4,
	BACKEND_IIO_INTERRUPT = 5,
	BACKEND_SYSFS = 6,
	BACKEND_IOBOX = 7,
	BACKEND_NULL = 8,
	BACKEND_CHECK = 9,
	BACKEND_COUNT
};

enum IOPortMode {
	PORT_MODE_NONE = 0,
	PORT_MODE_MONOSTABLE = 1,
	PORT_MODE_BISTABLE = 2,
	PORT_MODE_COUNT
};

enum IOButtonType {
	BUTTON_NONE = 0,
	BUTTON_PULSE = 1,
	BUTTON_ACTINACT = 2,
	BUTTON_COUNT
};

/// "none", "pulse", "actinact", by IOButtonType.
extern const char *const button_type_string[BUTTON_COUNT];
/// "", "monostable", "bistable", by IOPortMode.
extern const char *const port_mode_string[PORT_MODE_COUNT];

/// What a backend can do with a port: one table per backend, shared by its
/// ports. An operation that a backend does not offer is null. Levels are those
/// of the line; the translation by the active level is the caller's.
/// Everything is called from the main thread, except is_supervisable,
/// get_supervised_ranges, get_supervised_readout, get_state and set_state,
/// which a port's action thread calls too.
struct IOPortFunctions {
	/// Opens and configures the hardware; @p level is the line level that
	/// an output starts with. Releases what an earlier call still holds.
	/// Must not look a port up: the list's lock is held.
	bool (*setup)(IOPort *port, int level);
	bool (*is_supervisable)(IOPort *port);
	/// IOPort::supervised has the new value already; the result is ignored.
	/// May be called before setup.
	bool (*set_supervised)(IOPort *port, bool enable);
	/// The port's own list, not a copy. Only the main thread may walk it
	/// without IOPort::ranges_lock.
	SupervisedRangeList *(*get_supervised_ranges)(IOPort *port);
	/// Takes over the contents of @p list, leaving it empty; on refusal
	/// leaves it alone. Backends that classify levels by the ranges refuse
	/// a null or empty list. Stores it with IOPort::ranges_lock held.
	bool (*set_supervised_ranges)(IOPort *port, SupervisedRangeList *list,
				      GError **error);
	/// Measures the line: what it means, and the raw level.
	bool (*get_supervised_readout)(IOPort *port, SupervisedState *state,
				       guint32 *level, GError **error);
	/// The line's level, 0 or 1; anything else means "unknown".
	int (*get_state)(IOPort *port);
	/// Drives the line to @p level, 0 or 1.
	void (*set_state)(IOPort *port, int level);
	/// Reports each change of the line from now on through
	/// io_port_trigger(). A second call leaves one watch, not two.
	void (*set_watch)(IOPort *port);
	/// Switches a configurable port's hardware; the result is ignored.
	bool (*set_direction)(IOPort *port, bool input);
	/// Stores one configuration item in the private record. The strings are
	/// the caller's. The result is ignored.
	bool (*parse_data)(IOPort *port, const char *element,
			   const char *attribute, const char *value);
	/// Releases the hardware and the private record; backend_data is null
	/// afterwards. Works on a port without a record, too.
	void (*free)(IOPort *port);
	/// Releases the hardware, keeps the record for another setup. Optional:
	/// without it a port is closed with free.
	void (*close)(IOPort *port);
};

/// A backend's configuration item as it was read, kept so that a port that was
/// closed can be set up again from nothing.
struct BackendItem {
	std::string element;
	std::string attribute;
	std::string value;
};

/// Frees an event through io_event_free().
struct IOEventDeleter {
	void operator()(IOEvent *event) const;
};

/// One port. The main thread uses everything; an action thread uses the
/// port's state and events, which is why those fields are atomic, guarded by a
/// lock, or written only while no sequence runs.
struct IOPort {
	IOPortType type = PORT_INPUT;
	/// An IOBackend, or whatever number io_port_set_backend() was given.
	int backend = BACKEND_VIRTUAL;
	/// The backend's private record; created by the backend's table call,
	/// released by its free operation.
	void *backend_data = nullptr;
	const IOPortFunctions *functions = nullptr;
	/// Key to boolean; a hash table, since its order is what clients see.
	util::HashTablePtr properties;
	/// The port's identifier in the configuration and in the parameter
	/// file.
	std::optional<std::string> name;
	std::optional<std::string> input_name;
	std::optional<std::string> output_name;
	std::optional<std::string> usage = "";
	/// The port's number on D-Bus and in events.
	int number = -1;
	/// Active level: true means active when the line is open.
	bool output_activelow = false;
	bool input_activelow = false;
	/// For a configurable port: true input, false output.
	bool direction = true;
	std::atomic<bool> supervised = false;
	/// An IOButtonType.
	int button_type = BUTTON_NONE;
	/// Pulse length of a "pulse" button; kept for other services.
	guint32 pulse_time = 0;
	/// Newest first.
	std::list<std::unique_ptr<IOEvent, IOEventDeleter>> events;
	/// Changed by the main thread only, with `ranges_lock` held. Other
	/// threads read it with the lock held.
	SupervisedRangeList supervised_ranges;
	/// A leaf: no lock is taken with it held.
	std::mutex ranges_lock;
	/// Complains of a line that cannot be measured. The lock is a leaf.
	struct {
		std::mutex lock;
		util::RateLimit limit;
	} readout_failure;
	/// False: the port sends no events and no change signals.
	std::atomic<bool> enabled = true;
	/// The backend's setup has succeeded, once. Stays when the port is
	/// closed.
	std::atomic<bool> is_setup = false;
	/// The backend's setup is at work: what can be read may not be the
	/// line's state yet. Main thread.
	bool setting_up = false;
	/// Guards hardware writes and settings; a running sequence holds it but
	/// for its waits.
	std::mutex lock;
	/// Taken before `lock` by whoever wants it from a running sequence,
	/// which passes through here between two steps.
	std::mutex turnstile;
	/// The action thread waits on it, with `lock`, between two steps.
	std::condition_variable sequence_cond;
	/// Guards abort_sequence and sequence_running. Taken after `lock`.
	std::mutex state_lock;
	/// Signalled, under `state_lock`, when a sequence has ended.
	std::condition_variable done_cond;
	bool abort_sequence = false;
	bool sequence_running = false;
	std::atomic<int> ref_count = 1;
	/// Kept, not discarded, when its set-up fails; may be dropped and set
	/// up again at run time.
	bool optional = false;
	/// Milliseconds; kept for other services.
	gint32 delay_time = 0;
	/// An IOPortMode; kept for other services.
	int mode = PORT_MODE_BISTABLE;
	/// Spare.
	int reserved = 1;

	/// The kind that `functions` belongs to; -1 for none.
	int bound_backend = -1;
	/// The backend's items as parsed, oldest first.
	std::vector<BackendItem> backend_items;
	/// io_port_free() has been here; only the memory is left.
	bool released = false;

	IOPort();
	IOPort(const IOPort &) = delete;
	IOPort &operator=(const IOPort &) = delete;
};

/// A new port with one reference, which is the caller's, and no backend.
IOPort *io_port_new();

/// Takes, and drops, one reference; null is ignored. Dropping the last one
/// frees the port. Any thread.
void io_port_ref(IOPort *port);
void io_port_unref(IOPort *port);

/// Releases everything that the port owns, whoever else refers to it: ends a
/// running sequence and waits for it, frees the events, the ranges, the names
/// and the backend's record. Drops the caller's reference; the empty record
/// itself lives until the last one is gone.
void io_port_free(IOPort *port);

/// A counted reference to a port, or none.
class PortRef
{
public:
	PortRef() = default;
	~PortRef()
	{
		io_port_unref(port_);
	}
	/// Takes over a reference that the caller holds.
	static PortRef adopt(IOPort *port)
	{
		PortRef ref;
		ref.port_ = port;
		return ref;
	}
	/// Takes a reference of its own.
	static PortRef share(IOPort *port)
	{
		io_port_ref(port);
		return adopt(port);
	}
	PortRef(const PortRef &other) : port_(other.port_)
	{
		io_port_ref(port_);
	}
	PortRef(PortRef &&other) noexcept
		: port_(std::exchange(other.port_, nullptr))
	{
	}
	PortRef &operator=(PortRef other) noexcept
	{
		std::swap(port_, other.port_);
		return *this;
	}

	IOPort *get() const
	{
		return port_;
	}
	IOPort *operator->() const
	{
		return port_;
	}
	explicit operator bool() const
	{
		return port_ != nullptr;
	}
	/// Hands the reference to the caller.
	[[nodiscard]] IOPort *release()
	{
		return std::exchange(port_, nullptr);
	}

private:
	IOPort *port_ = nullptr;
};

/// Binds @p port to the backend of @p kind (an IOBackend): stores the number,
/// gives the port the backend's table and, unless it has one of the same
/// backend, a private record. Any other number is stored and yields null, the
/// table staying as it was. A record of another backend is released first.
const IOPortFunctions *io_port_set_backend(IOPort *port, int kind);

/// Sets the port up on its hardware. A port whose private record is gone gets
/// a new one from its configuration items first. A port without a backend is a
/// programming error.
bool io_port_setup(IOPort *port);

/// Takes the port off its hardware so that it can be set up again; ends a
/// running sequence first. Nothing without a backend.
void io_port_close(IOPort *port);

/// Hands a configuration item to the port's backend and keeps a copy of it.
/// Nothing, and false, without a backend.
bool io_port_parse_backend_data(IOPort *port, const char *element,
				const char *attribute, const char *value);

/// Stores the property @p key: true when @p value is "true" in any case.
void io_port_add_property(IOPort *port, const char *key, const char *value);

/// The property's value; false when it is absent.
bool io_port_get_property(const IOPort *port, const char *key);

/// Whether the property is there; its value goes to @p value when it is.
bool io_port_lookup_property(const IOPort *port, const char *key, bool *value);

/// Keys and values, each in the table's own order. The caller frees the list
/// with g_list_free(); the keys stay the port's, the values are
/// GPOINTER_TO_INT booleans.
GList *io_port_get_property_keys(const IOPort *port);
GList *io_port_get_property_values(const IOPort *port);
