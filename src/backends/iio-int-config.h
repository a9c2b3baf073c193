#pragma once

/// What the configuration of a port on the backend "iio-interrupt" says; see
/// docs/port-configuration.md. Main thread.

#include "ioport/ioport.h"

/// The parse_data operation of the backend's table.
bool iio_int_parse_data(IOPort *port, const char *group, const char *key,
			const char *value);
