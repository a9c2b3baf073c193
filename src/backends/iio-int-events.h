#pragma once

/// The event descriptors of converters, each shared by the ports on its
/// converter. Main thread.

#include "backends/iio-int-channel.h"
#include "ioport/ioport.h"

#include <string>

/// What a port waits for.
struct IioIntListener {
	IOPort *port = nullptr;
	/// The converter's device file.
	std::string dev_path;
	guint32 voltage_channel = 0;
	/// Switched off by an event of the channel.
	IioThresholds thresholds;
	/// What happens then.
	void (*on_event)(IOPort *port) = nullptr;
};

/// Opens the converter's event descriptor, unless it is open. Ports that wait
/// for events of that converter get them again. False: after a warning.
bool iio_int_open_device(const std::string &dev_path);

/// Closes the converter's event descriptor, whoever waits for its events.
void iio_int_close_device(const std::string &dev_path);

/// Waits for events from now on; @p listener lives until it is removed. Nothing
/// changes when it waits already.
///
/// An event is matched by the number of its channel alone: a listener on
/// another converter with such a channel is switched off by it, too, and the
/// one of them that was added last is told of it. An event that cannot be read
/// ends the watch on its converter, until nobody waits for its events any more.
void iio_int_add_listener(IioIntListener *listener);

/// The end of that. Nothing when it does not wait.
void iio_int_remove_listener(IioIntListener *listener);
