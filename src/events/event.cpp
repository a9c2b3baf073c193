#include "events/event-declarations.h"
#include "events/event-values.h"
#include "ioport/port-seam.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"

#include <vxevent.h>

namespace
{

using EventPtr = util::Handle<Event, event_free>;

constexpr const char *kPortEvent = "IOPort";
constexpr const char *kPortAnyEvent = "PortAny";
constexpr const char *kSupervisedPortEvent =
	"com.vexa.Event.Qel.SupervisedPort";

/// Made with the first declaration, kept for the life of the process.
std::atomic<EventProducer *> event_producer = nullptr;
/// The one declaration that all "PortAny" events share; 0 until declared.
std::atomic<guint32> port_any_declaration_id = 0;

bool is_built_in(const IOEvent &event)
{
	return event.name == kPortEvent || event.name == kPortAnyEvent ||
	       event.name == kSupervisedPortEvent;
}

guint32 declaration_id(IOEvent *event)
{
	const std::lock_guard guard(event->mutex);
	return event->declaration_id;
}

void set_declaration_id(IOEvent *event, guint32 id)
{
	const std::lock_guard guard(event->mutex);
	event->declaration_id = id;
}

/// The id, which the event does not have any more.
guint32 take_declaration_id(IOEvent *event)
{
	const std::lock_guard guard(event->mutex);
	return std::exchange(event->declaration_id, 0);
}

guint32 declare(const EventDeclarationPtr &declaration)
{
	return event_producer_declare(event_producer, declaration.get(),
				      nullptr);
}

/// True when the event was sent; a failure is logged.
bool send(const EventPtr &event)
{
	util::Error error;
	if (event_producer_send_event(event_producer, event.get(), &error))
		return true;
	g_warning("Error sending event: %s", error.message());
	return false;
}

bool send_configured(IOPort *port, const IOEvent &event, guint32 id)
{
	const EventPtr prepared(
		event_producer_prepare_event(event_producer, id, nullptr));
	if (!prepared) {
		g_warning("Failed to prepare event: %s id: %d",
			  event.name.value_or("").c_str(),
			  static_cast<int>(id));
		return false;
	}
	if (!populate_event_values(port, event.keys,
				   event_get_inspectable(prepared.get()),
				   FillMode::Sending, nullptr)) {
		g_warning("Failed to populate event values");
		return false;
	}
	return send(prepared);
}

void set_boolean(const EventPtr &event, const char *key, bool value)
{
	const gboolean stored = value;
	event_set_value(event.get(), key, EVENT_VALUE_BOOL, &stored, nullptr);
}

bool send_state(guint32 id, bool state)
{
	const EventPtr event(
		event_producer_prepare_event(event_producer, id, nullptr));
	if (!event)
		return false;
	set_boolean(event, "state", state);
	return send(event);
}

bool send_port_any(bool state)
{
	if (port_any_declaration_id == 0) {
		g_warning("PortAny event not declared");
		return false;
	}
	return send_state(port_any_declaration_id, state);
}

bool send_supervised_state(guint32 id, guint32 state)
{
	const EventPtr event(
		event_producer_prepare_event(event_producer, id, nullptr));
	if (!event)
		return false;
	set_boolean(event, "tampered", supervised_state_is_tampered(state));
	event_set_value(event.get(), "state", EVENT_VALUE_STRING,
			supervised_range_state2string(state), nullptr);
	return send(event);
}

guint32 declare_port_any()
{
	if (port_any_declaration_id == 0)
		port_any_declaration_id = declare(port_any_event_declaration());
	return port_any_declaration_id;
}

guint32 declare_built_in(const IOPort *port, const IOEvent &event)
{
	if (event.name == kPortAnyEvent)
		return declare_port_any();
	return declare(event.name == kPortEvent
			       ? port_event_declaration(port)
			       : supervised_port_event_declaration(port));
}

SupervisedState wiring_of(IOPort *port)
{
	return io_port_supervised_input(port)
		       ? io_port_get_supervised_state(port)
		       : SUPERVISED_OPEN;
}

/// Before the port's set-up is over, what is told is not what its line is.
void note_early_state(IOPort *port, IOEvent *event)
{
	event->declared_early = port->setting_up || !port->is_setup;
	if (!event->declared_early)
		return;
	event->early_state = io_port_get_state(port);
	event->early_wiring = wiring_of(port);
}

void declare_configured(IOPort *port, IOEvent *event)
{
	const char *name = event->name->c_str();
	const auto declaration = configured_event_declaration(port, *event);
	if (!declaration)
		return;
	const guint32 id = declare(declaration);
	if (id == 0) {
		g_warning("Failed to declare event %s for port %d", name,
			  port->number);
		return;
	}
	set_declaration_id(event, id);
	note_early_state(port, event);
	if (event_declaration_is_property(declaration.get()) &&
	    !event->declare_only && !send_configured(port, *event, id))
		g_warning("Failed to send initial state of event %s for port "
			  "%d",
			  name, port->number);
}

/// Tells what the port's line has turned out to be, when that is not what was
/// told early.
void correct_initial_state(IOPort *port, IOEvent *event)
{
	if (!event->declared_early || !port->is_setup)
		return;
	event->declared_early = false;
	const int state = io_port_get_state(port);
	if (state != event->early_state ||
	    wiring_of(port) != event->early_wiring)
		io_event_send_event(port, event, state);
}

/// What @p event reports: the given state, or what the port's wiring is.
int reported_value(IOPort *port, const IOEvent &event, int state)
{
	return event.name == kSupervisedPortEvent
		       ? static_cast<int>(io_port_get_supervised_state(port))
		       : state;
}

/// The id to send @p value with, which is the last value from now on; 0 when
/// it is not to be sent.
guint32 pass_filter(IOEvent *event, int value)
{
	const std::lock_guard guard(event->mutex);
	if (event->for_supervised && !event->filter_reset &&
	    value == event->last_value)
		return 0;
	event->last_value = value;
	event->filter_reset = false;
	return event->declaration_id;
}

} // namespace

bool io_event_currently_applicable(const IOPort *port, const IOEvent *event)
{
	if (io_port_supervised_input(port))
		return event->for_supervised || event->for_input;
	return io_port_input(port) ? event->for_input : event->for_output;
}

bool io_event_declare_event(IOPort *port, IOEvent *event)
{
	if (event_producer == nullptr)
		event_producer = event_producer_new("qel");
	io_event_reset_filter(event);
	if (declaration_id(event) != 0) {
		correct_initial_state(port, event);
		return true;
	}
	if (!io_event_currently_applicable(port, event))
		return true;
	if (!event->name)
		g_warning("Ignoring an event without a name on port %d",
			  port->number);
	else if (is_built_in(*event))
		set_declaration_id(event, declare_built_in(port, *event));
	else
		declare_configured(port, event);
	return true;
}

void io_event_undeclare_event(IOEvent *event)
{
	if (event == nullptr || event->name == kPortAnyEvent)
		return;
	const guint32 id = take_declaration_id(event);
	if (id != 0)
		event_producer_undeclare(event_producer, id, nullptr);
}

void io_event_redeclare_port(IOPort *port, IOEvent *event)
{
	if (event->name == kPortAnyEvent)
		return;
	io_event_undeclare_event(event);
	io_event_declare_event(port, event);
}

void io_event_reset_filter(IOEvent *event)
{
	MODULE_ASSERT_NONNULL("event.c", event);
	const std::lock_guard guard(event->mutex);
	event->filter_reset = true;
}

bool io_event_send_event(IOPort *port, IOEvent *event, int state)
{
	if (declaration_id(event) == 0 || event->declare_only)
		return false;
	const int value = reported_value(port, *event, state);
	const guint32 id = pass_filter(event, value);
	if (id == 0)
		return false;
	if (event->name == kPortEvent)
		return send_state(id, value != 0);
	if (event->name == kPortAnyEvent)
		return send_port_any(value != 0);
	if (event->name == kSupervisedPortEvent)
		return send_supervised_state(id, static_cast<guint32>(value));
	return send_configured(port, *event, id);
}

void io_event_free(IOEvent *event)
{
	io_event_undeclare_event(event);
	delete event;
}
