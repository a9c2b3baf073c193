#pragma once

#include "declaration.h"

#include <memory>

/// One event on a declaration, not sent yet.
struct Event {
	/// An event without any value on the declaration with that id.
	Event(guint32 id,
	      const std::shared_ptr<const EventDeclaration> &declaration);

	const guint32 id;
	/// What was declared; the same object as in the live declaration.
	const std::shared_ptr<const EventDeclaration> declaration;
	/// The declaration's keys with the event's values.
	Inspectable inspectable;
};
