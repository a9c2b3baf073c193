#include "event.h"

#include "errors.h"

#include <utility>

using namespace vxevent;

Event::Event(guint32 declaration_id,
	     const std::shared_ptr<const EventDeclaration> &declared)
	: id(declaration_id), declaration(declared),
	  inspectable(declared->inspectable)
{
	inspectable.clear_values();
}

gboolean event_set_value(Event *event, const gchar *key, EventValueType type,
			 gconstpointer value, GError **error)
{
	if (!check_given(event, "event", error))
		return FALSE;
	auto made = value_from_pointer(type, value, error);
	return made &&
	       event->inspectable.set_value(key, std::move(*made), error);
}

void event_free(Event *event)
{
	delete event;
}

Inspectable *event_get_inspectable(Event *event)
{
	return event != nullptr ? &event->inspectable : nullptr;
}
