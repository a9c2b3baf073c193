#include "fakes/fake-vxevent.h"

#include "fakes/recorder.h"

#include <map>
#include <mutex>
#include <set>

using fake_vxevent::Lines;

struct Inspectable {
	Lines *lines;
};

struct EventProducer {
};

struct EventDeclaration {
	Lines lines;
	bool property = false;
	EventStateGetter getter = nullptr;
	gpointer user_data = nullptr;
	Inspectable inspectable = {&lines};
};

struct Event {
	guint32 id;
	Lines values = {};
	Inspectable inspectable = {&values};
};

namespace
{

struct Declared {
	Lines lines;
	EventStateGetter getter;
	gpointer user_data;
};

std::mutex mutex;
std::set<std::string> failing;
std::set<std::string> state_types;
std::map<guint32, Declared> ever_declared;
std::set<guint32> live;
std::vector<fake_vxevent::Sent> sent_events;
guint32 last_id = 0;
int live_objects = 0;

EventProducer the_producer;

bool refuse(EventError code, const char *text, GError **error)
{
	g_set_error_literal(error, EVENT_ERROR, code, text);
	return false;
}

/// Whether @p function may go on; sets @p error when it was told to fail.
bool admit(const char *function, GError **error)
{
	const std::lock_guard guard(mutex);
	return !failing.contains(function) ||
	       refuse(EVENT_ERROR_INVALID, "told to fail", error);
}

/// The same for a call that needs the live declaration @p id.
bool admit_live(const char *function, guint32 id, GError **error)
{
	if (!admit(function, error))
		return false;
	const std::lock_guard guard(mutex);
	return live.contains(id) ||
	       refuse(EVENT_ERROR_NOT_DECLARED, "not declared", error);
}

void count_object(int change)
{
	const std::lock_guard guard(mutex);
	live_objects += change;
}

std::string type_word(EventValueType type)
{
	static const std::map<EventValueType, std::string> kWords = {
		{EVENT_VALUE_INT, "int"},
		{EVENT_VALUE_BOOL, "bool"},
		{EVENT_VALUE_DOUBLE, "double"},
		{EVENT_VALUE_STRING, "string"},
	};
	return kWords.at(type);
}

std::string value_text(EventValueType type, gconstpointer value)
{
	switch (type) {
	case EVENT_VALUE_INT:
		return std::to_string(*static_cast<const gint32 *>(value));
	case EVENT_VALUE_BOOL:
		return std::to_string(*static_cast<const gboolean *>(value));
	case EVENT_VALUE_DOUBLE:
		return std::to_string(*static_cast<const gdouble *>(value));
	case EVENT_VALUE_STRING:
		break;
	}
	return static_cast<const char *>(value);
}

std::string quoted(const char *text)
{
	return text != nullptr ? std::string("\"") + text + "\"" : "-";
}

std::string value_line(const char *key, EventValueType type,
		       gconstpointer value)
{
	return std::string(key) + " " + type_word(type) + " " +
	       value_text(type, value);
}

gboolean tell(EventDeclaration *declaration, const char *function,
	      const std::string &line, GError **error)
{
	if (!admit(function, error))
		return FALSE;
	declaration->lines.push_back(line);
	return TRUE;
}

std::string nice_names_line(const char *key, const char *key_nice_name,
			    const char *value_nice_name)
{
	return std::string("nice-names ") + key + " " + quoted(key_nice_name) +
	       " " + quoted(value_nice_name);
}

} // namespace

namespace fake_vxevent
{

void fail(const std::string &function)
{
	const std::lock_guard guard(mutex);
	failing.insert(function);
}

void define_state_type(const std::string &type)
{
	const std::lock_guard guard(mutex);
	state_types.insert(type);
}

std::vector<guint32> declared()
{
	const std::lock_guard guard(mutex);
	return {live.begin(), live.end()};
}

Lines contents(guint32 id)
{
	const std::lock_guard guard(mutex);
	const auto found = ever_declared.find(id);
	return found != ever_declared.end() ? found->second.lines : Lines();
}

Lines filled(const Inspectable *inspectable)
{
	return *inspectable->lines;
}

std::vector<Sent> sent()
{
	const std::lock_guard guard(mutex);
	return sent_events;
}

std::optional<Lines> ask(guint32 id)
{
	Declared declaration = {};
	{
		const std::lock_guard guard(mutex);
		if (live.contains(id))
			declaration = ever_declared.at(id);
	}
	Event event = {id};
	if (declaration.getter == nullptr ||
	    !declaration.getter(&event, declaration.user_data))
		return std::nullopt;
	return event.values;
}

int objects()
{
	const std::lock_guard guard(mutex);
	return live_objects;
}

void reset()
{
	const std::lock_guard guard(mutex);
	failing.clear();
	state_types.clear();
	sent_events.clear();
}

} // namespace fake_vxevent

GQuark event_error_quark()
{
	return g_quark_from_static_string("fake-event-error-quark");
}

EventProducer *event_producer_new(const gchar *name)
{
	recorder::note("event_producer_new(%s)", name);
	return &the_producer;
}

void event_producer_free(EventProducer *)
{
	recorder::note("event_producer_free()");
}

guint32 event_producer_declare(EventProducer *,
			       const EventDeclaration *declaration,
			       GError **error)
{
	if (!admit("event_producer_declare", error))
		return 0;
	const std::lock_guard guard(mutex);
	const guint32 id = ++last_id;
	ever_declared[id] = {declaration->lines, declaration->getter,
			     declaration->user_data};
	live.insert(id);
	recorder::note("event_producer_declare(%u)", id);
	return id;
}

gboolean event_producer_undeclare(EventProducer *, guint32 id, GError **error)
{
	recorder::note("event_producer_undeclare(%u)", id);
	if (!admit_live("event_producer_undeclare", id, error))
		return FALSE;
	const std::lock_guard guard(mutex);
	return live.erase(id) != 0;
}

Event *event_producer_prepare_event(EventProducer *, guint32 id, GError **error)
{
	if (!admit_live("event_producer_prepare_event", id, error))
		return nullptr;
	recorder::note("event_producer_prepare_event(%u)", id);
	count_object(1);
	return new Event{id};
}

gboolean event_producer_send_event(EventProducer *, const Event *event,
				   GError **error)
{
	if (!admit_live("event_producer_send_event", event->id, error))
		return FALSE;
	recorder::note("event_producer_send_event(%u)", event->id);
	const std::lock_guard guard(mutex);
	sent_events.push_back({event->id, event->values});
	return TRUE;
}

gboolean event_set_value(Event *event, const gchar *key, EventValueType type,
			 gconstpointer value, GError **error)
{
	if (!admit("event_set_value", error))
		return FALSE;
	event->values.push_back(value_line(key, type, value));
	return TRUE;
}

void event_free(Event *event)
{
	count_object(-1);
	delete event;
}

Inspectable *event_get_inspectable(Event *event)
{
	return &event->inspectable;
}

EventDeclaration *event_declaration_new()
{
	count_object(1);
	return new EventDeclaration;
}

EventDeclaration *event_declaration_new_from_type(const gchar *type,
						  GError **error)
{
	if (!admit("event_declaration_new_from_type", error))
		return nullptr;
	EventDeclaration *declaration = event_declaration_new();
	declaration->lines.push_back(std::string("type ") + type);
	const std::lock_guard guard(mutex);
	declaration->property = state_types.contains(type);
	return declaration;
}

void event_declaration_free(EventDeclaration *declaration)
{
	count_object(-1);
	delete declaration;
}

gboolean event_declaration_add_key(EventDeclaration *declaration,
				   const gchar *key, EventValueType type,
				   GError **error)
{
	return tell(declaration, "event_declaration_add_key",
		    std::string("key ") + key + " " + type_word(type), error);
}

gboolean event_declaration_add_key_value(EventDeclaration *declaration,
					 const gchar *key, EventValueType type,
					 gconstpointer value, GError **error)
{
	return tell(declaration, "event_declaration_add_key_value",
		    "key " + value_line(key, type, value), error);
}

gboolean event_declaration_add_key_tag(EventDeclaration *declaration,
				       const gchar *key, const gchar *tag,
				       GError **error)
{
	return tell(declaration, "event_declaration_add_key_tag",
		    std::string("tag ") + key + " " + quoted(tag), error);
}

gboolean event_declaration_set_name_space(EventDeclaration *declaration,
					  const gchar *key,
					  const gchar *name_space,
					  GError **error)
{
	return tell(declaration, "event_declaration_set_name_space",
		    std::string("name-space ") + key + " " + quoted(name_space),
		    error);
}

gboolean event_declaration_set_nice_names(EventDeclaration *declaration,
					  const gchar *key,
					  const gchar *key_nice_name,
					  const gchar *value_nice_name,
					  GError **error)
{
	return tell(declaration, "event_declaration_set_nice_names",
		    nice_names_line(key, key_nice_name, value_nice_name),
		    error);
}

gboolean event_declaration_set_property(EventDeclaration *declaration,
					const gchar *key,
					EventStateGetter getter,
					gpointer user_data, GError **error)
{
	if (!tell(declaration, "event_declaration_set_property",
		  std::string("property ") + key, error))
		return FALSE;
	declaration->property = true;
	declaration->getter = getter;
	declaration->user_data = user_data;
	return TRUE;
}

gboolean event_declaration_is_property(const EventDeclaration *declaration)
{
	return declaration->property;
}

Inspectable *event_declaration_get_inspectable(EventDeclaration *declaration)
{
	return &declaration->inspectable;
}

gboolean inspectable_set_nice_names(Inspectable *inspectable, const gchar *key,
				    const gchar *key_nice_name,
				    const gchar *value_nice_name,
				    GError **error)
{
	if (!admit("inspectable_set_nice_names", error))
		return FALSE;
	inspectable->lines->push_back(
		nice_names_line(key, key_nice_name, value_nice_name));
	return TRUE;
}

gboolean inspectable_set_value_as_string(Inspectable *inspectable,
					 const gchar *key, EventValueType type,
					 const gchar *text, GError **error)
{
	if (!admit("inspectable_set_value_as_string", error))
		return FALSE;
	inspectable->lines->push_back(std::string("value ") + key + " " +
				      type_word(type) + " " + quoted(text));
	return TRUE;
}
