#include "ioport/port-seam.h"

namespace
{

/// What the port list asked for last. Guarded by the list's lock.
bool registration_wanted = false;

} // namespace

void actionengine_dbus_update_action_registration(bool wanted)
{
	registration_wanted = wanted;
}
