// The events floor. An event applies to the side that its for_input and
// for_output say, and its declaration_id tells whether it is declared.

#include "fakes/fake-events.h"

#include "fakes/recorder.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"

namespace
{

constexpr guint32 kSomeId = 1;

std::atomic<bool> declare_result = true;

std::string text(const IOPort *port, const IOEvent *event)
{
	return recorder::name_of(port) + ", " + event->name.value_or("(none)");
}

} // namespace

namespace fake_events
{

void set_declare_result(bool result)
{
	declare_result = result;
}

} // namespace fake_events

bool io_event_currently_applicable(const IOPort *port, const IOEvent *event)
{
	return io_port_direction_input(port) ? event->for_input
					     : event->for_output;
}

bool io_event_declare_event(IOPort *port, IOEvent *event)
{
	recorder::note("io_event_declare_event(%s)", text(port, event).c_str());
	event->declaration_id = kSomeId;
	return declare_result;
}

void io_event_undeclare_event(IOEvent *event)
{
	if (event == nullptr)
		return;
	recorder::note("io_event_undeclare_event(%s)",
		       event->name.value_or("(none)").c_str());
	event->declaration_id = 0;
}

void io_event_redeclare_port(IOPort *port, IOEvent *event)
{
	recorder::note("io_event_redeclare_port(%s)",
		       text(port, event).c_str());
}

void io_event_reset_filter(IOEvent *event)
{
	recorder::note("io_event_reset_filter(%s)",
		       event->name.value_or("(none)").c_str());
}

bool io_event_send_event(IOPort *port, IOEvent *event, int state)
{
	recorder::note("io_event_send_event(%s, %d)", text(port, event).c_str(),
		       state);
	return true;
}

void io_event_free(IOEvent *event)
{
	const std::unique_ptr<IOEvent> owned(event);
	if (event != nullptr)
		recorder::note("io_event_free(%s)",
			       event->name.value_or("(none)").c_str());
}

void actionengine_dbus_update_action_registration(bool wanted)
{
	recorder::note("actionengine_dbus_update_action_registration(%d)",
		       wanted);
}
