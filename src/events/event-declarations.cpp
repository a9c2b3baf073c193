#include "events/event-declarations.h"

#include "events/event-values.h"
#include "ioport/port-list.h"
#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/optional-text.h"

namespace
{

/// Stands for all ports in the event of any of them.
constexpr int kAnyPort = -1;

/// The library refuses only what this module never asks for, so its errors
/// are not looked at.
class Builder
{
public:
	void key(const char *name, EventValueType type)
	{
		event_declaration_add_key(get(), name, type, nullptr);
	}
	void integer(const char *name, gint32 value)
	{
		event_declaration_add_key_value(get(), name, EVENT_VALUE_INT,
						&value, nullptr);
	}
	void topics(const char *last)
	{
		text("topic0", "Device");
		text("topic1", "IO");
		text("topic2", last);
	}
	void topic_names(const char *last)
	{
		nice_names("topic1", nullptr, "Input ports");
		nice_names("topic2", nullptr, last);
	}
	void name_spaces()
	{
		name_space("topic0", "tns1");
		name_space("topic1", "tnsvexa");
		name_space("topic2", "tnsvexa");
	}
	void nice_names(const char *name, const char *key_name,
			const char *value_name)
	{
		event_declaration_set_nice_names(get(), name, key_name,
						 value_name, nullptr);
	}
	void tag(const char *name, const char *tag_name)
	{
		event_declaration_add_key_tag(get(), name, tag_name, nullptr);
	}
	void property(const char *name, EventStateGetter getter, int number)
	{
		event_declaration_set_property(
			get(), name, getter, GINT_TO_POINTER(number), nullptr);
	}
	EventDeclarationPtr take()
	{
		return std::move(declaration_);
	}

private:
	void text(const char *name, const char *value)
	{
		event_declaration_add_key_value(get(), name, EVENT_VALUE_STRING,
						value, nullptr);
	}
	void name_space(const char *name, const char *value)
	{
		event_declaration_set_name_space(get(), name, value, nullptr);
	}
	EventDeclaration *get() const
	{
		return declaration_.get();
	}

	EventDeclarationPtr declaration_{event_declaration_new()};
};

gboolean set_boolean(Event *event, const char *key, bool value)
{
	const gboolean stored = value;
	return event_set_value(event, key, EVENT_VALUE_BOOL, &stored, nullptr);
}

gboolean get_port_state(Event *event, gpointer user_data)
{
	const PortRef port = io_port_list_get_port(GPOINTER_TO_INT(user_data));
	return port &&
	       set_boolean(event, "state", io_port_get_state(port.get()) != 0);
}

gboolean get_port_any_state(Event *event, gpointer)
{
	return set_boolean(event, "state", io_port_list_get_port_any_value());
}

gboolean get_supervised_port_state(Event *event, gpointer user_data)
{
	const PortRef port = io_port_list_get_port(GPOINTER_TO_INT(user_data));
	if (!port)
		return FALSE;
	const SupervisedState state = io_port_get_supervised_state(port.get());
	return set_boolean(event, "tampered",
			   supervised_state_is_tampered(state)) &&
	       event_set_value(event, "state", EVENT_VALUE_STRING,
			       supervised_range_state2string(state), nullptr);
}

/// "IOPort" and "PortAny" differ in the port, its name and the getter only.
EventDeclarationPtr digital_port_declaration(int number, const char *name,
					     EventStateGetter getter)
{
	Builder builder;
	builder.integer("port", number);
	builder.key("state", EVENT_VALUE_BOOL);
	builder.topics("Port");
	builder.topic_names("Digital input port");
	builder.nice_names("port", "Port", name);
	builder.nice_names("state", "Active", nullptr);
	builder.name_spaces();
	builder.tag("port", "onvif-source");
	builder.tag("state", "onvif-data");
	builder.property("state", getter, number);
	return builder.take();
}

bool make_property(EventDeclaration *declaration, const EventKey &key)
{
	const std::string name = key.key.value_or("");
	if (event_declaration_is_property(declaration) ||
	    event_declaration_set_property(declaration, name.c_str(), nullptr,
					   nullptr, nullptr))
		return true;
	g_warning("Failed to set event property: %s", name.c_str());
	return false;
}

} // namespace

EventDeclarationPtr port_event_declaration(const IOPort *port)
{
	const auto name = io_port_get_name(port);
	return digital_port_declaration(port->number, util::c_str(name),
					get_port_state);
}

EventDeclarationPtr port_any_event_declaration()
{
	return digital_port_declaration(kAnyPort, "Any", get_port_any_state);
}

EventDeclarationPtr supervised_port_event_declaration(const IOPort *port)
{
	const auto name = io_port_get_name(port);
	Builder builder;
	builder.integer("port", port->number);
	builder.key("tampered", EVENT_VALUE_BOOL);
	builder.key("state", EVENT_VALUE_STRING);
	builder.topics("SupervisedPort");
	builder.topic_names("Supervised input port");
	builder.nice_names("port", "Port", util::c_str(name));
	builder.nice_names("state", "State", nullptr);
	builder.nice_names("tampered", "Tampered", nullptr);
	builder.name_spaces();
	builder.tag("port", "onvif-source");
	builder.tag("state", "onvif-data");
	builder.tag("tampered", "onvif-data");
	builder.property("tampered", get_supervised_port_state, port->number);
	return builder.take();
}

EventDeclarationPtr configured_event_declaration(IOPort *port,
						 const IOEvent &event)
{
	const char *name = event.name->c_str();
	EventDeclarationPtr declaration(
		event_declaration_new_from_type(name, nullptr));
	if (!declaration) {
		g_warning("Failed to create event declaration: %s for port %d",
			  name, port->number);
		return nullptr;
	}
	const EventKey *property_key = nullptr;
	if (!populate_event_values(
		    port, event.keys,
		    event_declaration_get_inspectable(declaration.get()),
		    FillMode::Declaration, &property_key)) {
		g_warning("Failed to populate event declaration!");
		return nullptr;
	}
	if (property_key != nullptr &&
	    !make_property(declaration.get(), *property_key))
		return nullptr;
	return declaration;
}
