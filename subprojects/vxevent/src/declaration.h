#pragma once

#include "inspectable.h"

/// What a producer declares.
struct EventDeclaration {
	/// The event type's name; empty when there is none.
	std::string type;
	Inspectable inspectable;
	/// The key that is the state; empty when this is not a state.
	std::string property;
	EventStateGetter getter = nullptr;
	gpointer user_data = nullptr;
};

namespace vxevent
{

/// The description that goes over the bus: a floating variant of type a{sv},
/// see org.orvad.Events1.Producer.xml.
GVariant *describe(const EventDeclaration &declaration);

} // namespace vxevent
