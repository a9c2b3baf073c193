#pragma once

/// Writing the properties of the ports' objects for the older configuration
/// system. Their manual is com.vexa.Configuration.Legacy.IOControl1.xml beside
/// this file. Main thread, with no lock held.

#include "util/glib-ptr.h"

/// Sets a property, and saves the port when that changes it. @p value is of the
/// property's declared type. False, with an error and nothing changed, when it
/// is refused.
bool legacy_set_property(const char *path, const char *interface,
			 const char *property, GVariant *value, GError **error);
