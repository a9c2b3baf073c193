#pragma once

/// What a device of the kernel's Industrial I/O is made of.

#include "board-file.h"
#include "faults.h"
#include "iio-triggers.h"
#include "record-queue.h"
#include "thresholds.h"

namespace simboard
{

/// The shortest buffer, and how long it is until somebody sets it.
constexpr unsigned IIO_LEAST_LENGTH = 2;

struct IioDevice;

/// A channel. Belongs to its device, which keeps its place.
struct IioChannel {
	IioDevice *device = nullptr;
	unsigned number = 0;
	unsigned type = 0; ///< One of iio_chan_type.
	std::string stem;  ///< Of the names of its files: "in_voltage2_".
	std::string loop;  ///< What it measures, or empty.

	gint64 value = 0;
	bool scanned = false; ///< Its samples go to the buffer.
	Thresholds thresholds{ThresholdKind::NONE};
	guint64 readings = 0; ///< How often its value was read or sampled.
	guint64 events = 0;   ///< How often a threshold was crossed.

	/// DEVICE/NUMBER
	std::string title() const;
};

/// A device, for reading; Iio changes it.
struct IioDevice {
	IioDescription description;
	unsigned number = 0; ///< In the names of its files.
	std::map<unsigned, IioChannel> channels;
	bool plugged = true;
	Faults<IioAccess, IIO_ACCESS_COUNT> faults;
	/// Every attribute that there is, by its path in the device's folder,
	/// and the fault that it has of its own.
	std::map<std::string, int> file_faults;

	IioTriggerPtr trigger; ///< Null: none.
	unsigned length = 0;   ///< Of the buffer, in scans.
	bool running = false;  ///< The buffer is enabled.
	RecordQueue buffer;
	RecordQueue events;
	bool open = false;      ///< The device file is.
	bool listening = false; ///< The event descriptor is open.
	std::map<std::string, Fixpoint> attributes;
	guint64 scans = 0; ///< Since power-on.
	guint64 lost = 0;  ///< Of those, for want of room.

	/// "iio:device0"
	std::string file() const;
	/// Makes it what the driver finds, but for the values and the faults.
	void reset();
	void reset_events();
	/// The samples of the channels that are scanned, as they are now.
	std::string take_scan();
	/// In bytes; 0: none is scanned.
	std::size_t scan_size() const;
	/// What a use of an attribute fails with; 0: it works.
	int attribute_fault(const std::string &path, bool writes) const;
};

/// The devices that are described, by name, as their drivers find them.
std::map<std::string, IioDevice>
make_iio_devices(const BoardDescription &board);

} // namespace simboard
