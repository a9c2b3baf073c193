// The D-Bus floor: the announcements that a port makes.

#include "fakes/recorder.h"
#include "ioport/port-seam.h"

void iocontrol_emit_port_changed(int number, bool virtual_port, bool hidden,
				 bool input, bool virtual_trig, bool state,
				 bool activelow)
{
	recorder::note("iocontrol_emit_port_changed(%d, virtual=%d, hidden=%d, "
		       "input=%d, virtual_trig=%d, state=%d, activelow=%d)",
		       number, virtual_port, hidden, input, virtual_trig, state,
		       activelow);
}

/// Nothing to see: it changes no state and announces nothing.
void iocontrol_wait_for_bus()
{
}

void iocontrol_emit_action_sequence_done(int number)
{
	recorder::note("iocontrol_emit_action_sequence_done(%d)", number);
}

void orvad_g_dbus_common_emit_property_changed_signal(const char *property,
						      const char *value,
						      int number,
						      PropertyObject object)
{
	constexpr const char *kObjects[] = {"input", "output", "port"};
	recorder::note("property_changed(%s, \"%s\", %d, %s)", property, value,
		       number, kObjects[object]);
}
