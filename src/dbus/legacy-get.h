#pragma once

/// Reading the properties of the ports' objects for the older configuration
/// system. Their manual is com.vexa.Configuration.Legacy.IOControl1.xml beside
/// this file. Main thread, with no lock held.

#include "util/glib-ptr.h"

/// The value of a property of the object at @p path, floating; null, with
/// @p error set if that is not null, when there is none.
GVariant *legacy_get_property(const char *path, const char *interface,
			      const char *property, GError **error);
