#pragma once

/// What each kind of event looks like to the platform's event system.

#include "ioport/ioport.h"
#include "util/glib-ptr.h"

#include <vxevent.h>

using EventDeclarationPtr =
	util::Handle<EventDeclaration, event_declaration_free>;

/// The built-in event of one port, with a getter of its state.
EventDeclarationPtr port_event_declaration(const IOPort *port);

/// The event that all ports share: some port is active.
EventDeclarationPtr port_any_event_declaration();

/// The built-in event of one supervised port.
EventDeclarationPtr supervised_port_event_declaration(const IOPort *port);

/// An event of a platform type, filled from the configured keys; none, with a
/// warning, when that fails.
EventDeclarationPtr configured_event_declaration(IOPort *port,
						 const IOEvent &event);
