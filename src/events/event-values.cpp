#include "events/event-values.h"

#include "ioport/port-settings.h"
#include "ioport/port-state.h"
#include "ioport/port-supervision.h"
#include "util/assert.h"
#include "util/glib-ptr.h"
#include "util/optional-text.h"

namespace
{

constexpr const char *kEventModule = "event.c";

EventValueType value_type(const EventKey &key)
{
	if (key.type == "int")
		return EVENT_VALUE_INT;
	if (key.type == "bool")
		return EVENT_VALUE_BOOL;
	if (key.type == "double")
		return EVENT_VALUE_DOUBLE;
	if (key.type == "string")
		return EVENT_VALUE_STRING;
	MODULE_ASSERT_NOT_REACHED(kEventModule);
}

/// A boolean as a value of @p type; words are for texts only.
std::string boolean_text(bool value, EventValueType type, const char *true_word,
			 const char *false_word)
{
	MODULE_ASSERT(kEventModule, type != EVENT_VALUE_DOUBLE);
	if (type == EVENT_VALUE_STRING)
		return value ? true_word : false_word;
	return value ? "1" : "0";
}

std::string supervised_text(IOPort *port, EventValueType type)
{
	MODULE_ASSERT(kEventModule, type != EVENT_VALUE_DOUBLE);
	const SupervisedState state = io_port_get_supervised_state(port);
	if (type == EVENT_VALUE_STRING)
		return supervised_range_state2string(state);
	if (type == EVENT_VALUE_BOOL)
		return state == SUPERVISED_CLOSED ? "1" : "0";
	return std::to_string(state);
}

std::string value_text(IOPort *port, const EventKey &key, EventValueType type)
{
	const std::string text = key.value.value_or("");
	if (text == "PORT_STATUS")
		return boolean_text(io_port_get_state(port) != 0, type, "true",
				    "false");
	if (text == "PORT_ACTIVE")
		return boolean_text(io_port_get_state(port) != 0, type,
				    "active", "inactive");
	if (text == "PORT_SUPERVISED_STATUS")
		return supervised_text(port, type);
	if (type == EVENT_VALUE_BOOL)
		return text == "true" || text == "1" ? "1" : "0";
	return text;
}

std::optional<std::string>
display_name(const IOPort *port, const std::optional<std::string> &configured)
{
	return configured == "PORT_NAME" ? io_port_get_name(port) : configured;
}

const char *shown(const std::optional<std::string> &text)
{
	return text ? text->c_str() : "(null)";
}

bool set_nice_names(const IOPort *port, const EventKey &key,
		    Inspectable *inspectable)
{
	if (!key.key_nice_name && !key.value_nice_name)
		return true;
	const auto key_name = display_name(port, key.key_nice_name);
	const auto value_name = display_name(port, key.value_nice_name);
	if (inspectable_set_nice_names(
		    inspectable, key.key.value_or("").c_str(),
		    util::c_str(key_name), util::c_str(value_name), nullptr))
		return true;
	g_warning("Failed to set value nice name. Key: %s KNN: %s VNN: %s",
		  shown(key_name), shown(key_name), shown(value_name));
	return false;
}

bool set_value(IOPort *port, const EventKey &key, Inspectable *inspectable)
{
	const EventValueType type = value_type(key);
	const std::string text = value_text(port, key, type);
	if (inspectable_set_value_as_string(inspectable,
					    key.key.value_or("").c_str(), type,
					    text.c_str(), nullptr))
		return true;
	g_warning("populating event key value failed - Key: %s Val: %s "
		  "Type: %s",
		  shown(key.key), text.c_str(), shown(key.type));
	return false;
}

} // namespace

bool populate_event_values(IOPort *port, const std::list<EventKey> &keys,
			   Inspectable *inspectable, FillMode mode,
			   const EventKey **property_key)
{
	for (const EventKey &key : keys) {
		if (mode == FillMode::Sending && !key.property)
			continue;
		static_cast<void>(value_type(key));
		if (mode == FillMode::Declaration) {
			if (!set_nice_names(port, key, inspectable))
				return false;
			if (key.property) {
				if (property_key != nullptr)
					*property_key = &key;
				continue;
			}
		}
		if (!set_value(port, key, inspectable))
			return false;
	}
	return true;
}
