#include "ioport/port-seam.h"

/// Nothing listens as long as the older configuration objects do not exist.
void orvad_g_dbus_common_emit_property_changed_signal(const char *,
						      const char *, int,
						      PropertyObject)
{
}
