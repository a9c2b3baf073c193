#ifndef VXEVENT_H
#define VXEVENT_H

/*
 * The platform event library: a producer declares the events that it can send,
 * and sends them. This is the open implementation, which publishes on the
 * system bus: name org.orvad.Events1, one object per producer,
 * /org/orvad/Events1/<producer>, interface org.orvad.Events1.Producer (see
 * org.orvad.Events1.Producer.xml). Without a bus it stays silent.
 *
 * Every function may be called from any thread, except
 * event_producer_new(), which belongs to the main thread. Nothing here waits
 * for the main loop or for the bus. Texts are UTF-8. Objects are not shared:
 * a declaration, an event and an inspectable belong to one thread at a time.
 */

#include <glib.h>

G_BEGIN_DECLS

typedef struct EventProducer EventProducer;
typedef struct EventDeclaration EventDeclaration;
typedef struct Event Event;
/* The keys and values of a declaration or of an event. */
typedef struct Inspectable Inspectable;

/* The type of a value, and what a pointer to one points at. */
typedef enum {
	EVENT_VALUE_INT = 1,    /* gint32 */
	EVENT_VALUE_BOOL = 2,   /* gboolean */
	EVENT_VALUE_DOUBLE = 3, /* gdouble */
	EVENT_VALUE_STRING = 4  /* the text itself: a const gchar * */
} EventValueType;

typedef enum {
	EVENT_ERROR_INVALID,       /* an argument that cannot be */
	EVENT_ERROR_NO_TYPE,       /* no definition of that event type */
	EVENT_ERROR_NO_KEY,        /* no such key */
	EVENT_ERROR_TYPE,          /* a value of another type */
	EVENT_ERROR_NOT_DECLARED   /* no live declaration with that id */
} EventError;

#define EVENT_ERROR (event_error_quark())
GQuark event_error_quark(void);

/*
 * Fills a state event's present values into event with event_set_value().
 * Called on the main loop only, never from inside a call of this library.
 * FALSE: there is no value now; the last one sent stands. It may still be
 * running when another thread has withdrawn its declaration, so user_data must
 * not point at what that thread then frees.
 */
typedef gboolean (*EventStateGetter)(Event *event, gpointer user_data);

/*
 * A new producer with that name (an element of a D-Bus object path). It
 * reaches the bus once the default main context runs, so it may be made before
 * the process changes its identity. Lives until event_producer_free(). Null,
 * with a critical message, when name is no such element.
 */
EventProducer *event_producer_new(const gchar *name);

/* Withdraws everything and frees the producer; null is ignored. */
void event_producer_free(EventProducer *producer);

/*
 * Declares what declaration says, which stays the caller's. The id, from 1 on
 * and never used twice; 0 with error set on failure.
 */
guint32 event_producer_declare(EventProducer *producer,
			       const EventDeclaration *declaration,
			       GError **error);

/* Withdraws a declaration. */
gboolean event_producer_undeclare(EventProducer *producer, guint32 id,
				  GError **error);

/* An empty event on a live declaration; the caller frees it. */
Event *event_producer_prepare_event(EventProducer *producer, guint32 id,
				    GError **error);

/*
 * Sends event, which stays the caller's. A value that it does not carry is
 * sent as declared.
 */
gboolean event_producer_send_event(EventProducer *producer, const Event *event,
				   GError **error);

/* Sets one key of an event to a value of the key's declared type. */
gboolean event_set_value(Event *event, const gchar *key, EventValueType type,
			 gconstpointer value, GError **error);

void event_free(Event *event);

/* The event's keys and values, owned by the event. */
Inspectable *event_get_inspectable(Event *event);

/* A declaration without any key; the caller frees it. */
EventDeclaration *event_declaration_new(void);

/*
 * A declaration with what the event type of that name defines, in
 * /usr/share/orvad/event-types/<type>.conf. The caller frees it.
 */
EventDeclaration *event_declaration_new_from_type(const gchar *type,
						  GError **error);

void event_declaration_free(EventDeclaration *declaration);

/* Adds a key without a value, respectively with one. */
gboolean event_declaration_add_key(EventDeclaration *declaration,
				   const gchar *key, EventValueType type,
				   GError **error);
gboolean event_declaration_add_key_value(EventDeclaration *declaration,
					 const gchar *key, EventValueType type,
					 gconstpointer value, GError **error);

/* Describes a key that has been added. A null display name is unset. */
gboolean event_declaration_add_key_tag(EventDeclaration *declaration,
				       const gchar *key, const gchar *tag,
				       GError **error);
gboolean event_declaration_set_name_space(EventDeclaration *declaration,
					  const gchar *key,
					  const gchar *name_space,
					  GError **error);
gboolean event_declaration_set_nice_names(EventDeclaration *declaration,
					  const gchar *key,
					  const gchar *key_nice_name,
					  const gchar *value_nice_name,
					  GError **error);

/*
 * Makes the declaration a state: key is what the state is. getter may be null;
 * otherwise it is asked for the present state, with user_data.
 */
gboolean event_declaration_set_property(EventDeclaration *declaration,
					const gchar *key,
					EventStateGetter getter,
					gpointer user_data, GError **error);

/* Whether the declaration is a state. */
gboolean event_declaration_is_property(const EventDeclaration *declaration);

/* The declaration's keys and values, owned by the declaration. */
Inspectable *event_declaration_get_inspectable(EventDeclaration *declaration);

/* Sets display names of a key; null leaves that one as it is. */
gboolean inspectable_set_nice_names(Inspectable *inspectable, const gchar *key,
				    const gchar *key_nice_name,
				    const gchar *value_nice_name,
				    GError **error);

/*
 * Sets a key of that type to the value that text denotes: a decimal integer,
 * "1" or "0", a decimal fraction (with a point in every locale), a text.
 */
gboolean inspectable_set_value_as_string(Inspectable *inspectable,
					 const gchar *key, EventValueType type,
					 const gchar *text, GError **error);

G_END_DECLS

#endif
