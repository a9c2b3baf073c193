#pragma once

/// What makes a converter of the backend "iio-interrupt" ready. Main thread.

#include "backends/iio-int-backend.h"

/// Finds the port's converter, opens its events and its channel's thresholds,
/// writes the settings that there are, and leaves the events off. False, after
/// a warning, when something is missing.
bool iio_int_set_up_device(IioIntPortData *data);
