#ifndef VXCONFEVENT_H
#define VXCONFEVENT_H

/*
 * Configuration-change events: who keeps settings tells others that they have
 * changed. This is the open implementation, which publishes on the system bus:
 * name org.orvad.ConfigurationEvents1, one object per handle,
 * /org/orvad/ConfigurationEvents1/<name>, interface
 * org.orvad.ConfigurationEvents1. Without a bus it stays silent.
 *
 * Everything belongs to the main thread. Texts are UTF-8.
 */

#include <vxevent.h>

G_BEGIN_DECLS

typedef struct ConfigurationEvent ConfigurationEvent;
/* What has changed: pairs of a name and a value. */
typedef struct ConfigurationChange ConfigurationChange;

/* What kind of thing has changed; the number goes out with the event. */
typedef enum {
	CONFIGURATION_CHANGE_PROPERTY = 3 /* the value of a property */
} ConfigurationChangeKind;

typedef enum {
	CONFIGURATION_ERROR_DECLARED,    /* declared already */
	CONFIGURATION_ERROR_NOT_DECLARED /* not declared */
} ConfigurationError;

#define CONFIGURATION_ERROR (configuration_error_quark())
GQuark configuration_error_quark(void);

/*
 * A new handle with that name (an element of a D-Bus object path, and no other
 * handle's), on a producer, which has to outlive it. Uses the process's shared
 * connection to the system bus, and connects it when there is none, which waits
 * for the bus. Null, with a critical message, when name is no such element or
 * there is no producer.
 */
ConfigurationEvent *configuration_event_new(EventProducer *producer,
					    const gchar *name);

/* Null is ignored. */
void configuration_event_free(ConfigurationEvent *event);

/*
 * Declares that events are going to be sent about an interface of an object,
 * and withdraws that. FALSE, with an error, when it is declared already,
 * respectively not declared.
 */
gboolean configuration_event_declare(ConfigurationEvent *event,
				     const gchar *interface,
				     const gchar *object, GError **error);
gboolean configuration_event_undeclare(ConfigurationEvent *event,
				       const gchar *interface,
				       const gchar *object, GError **error);

/* An empty change; the caller frees it. */
ConfigurationChange *configuration_change_new(void);
/* Null is ignored. */
void configuration_change_free(ConfigurationChange *change);

/*
 * Appends a pair, both escaped so that any text may be in them: as in C, blanks
 * in the name too. A pair is a line: the name, a blank, the value.
 */
void configuration_change_append_escaped(ConfigurationChange *change,
					 const gchar *name, const gchar *value);

/*
 * Sends a change, which stays the caller's. The source has to be declared:
 * FALSE, with an error, otherwise. TRUE also when there is no bus to send it
 * on.
 */
gboolean configuration_event_send(ConfigurationEvent *event,
				  const gchar *source_interface,
				  const gchar *source_object,
				  const gchar *target_interface,
				  const gchar *target_object,
				  ConfigurationChangeKind kind,
				  const ConfigurationChange *change,
				  GError **error);

G_END_DECLS

#endif
