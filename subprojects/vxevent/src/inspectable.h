#pragma once

#include "value.h"

#include <vector>

/// A key of a declaration. Unset names are empty.
struct InspectableKey {
	EventValueType type;
	std::optional<vxevent::Value> value;
	std::string nice_name;
	std::string value_nice_name;
	std::string name_space;
	std::vector<std::string> tags;
};

/// The keys of a declaration or of an event. The names that callers give are
/// checked here: null, empty or not valid UTF-8 is EVENT_ERROR_INVALID.
struct Inspectable {
public:
	/// Adds a key without a value. Fails with EVENT_ERROR_INVALID when the
	/// key is there already.
	bool add_key(const char *key, EventValueType type, GError **error);

	/// The key of that name, owned by this; null with EVENT_ERROR_NO_KEY.
	InspectableKey *find(const char *key, GError **error);

	/// Sets a key. Fails with EVENT_ERROR_NO_KEY, or EVENT_ERROR_TYPE when
	/// the value is of another type than the key.
	bool set_value(const char *key, vxevent::Value value, GError **error);

	void clear_values();

	/// The keys that have a value, with it.
	vxevent::Values values() const;

	/// Every key, by name.
	const std::map<std::string, InspectableKey> &keys() const
	{
		return keys_;
	}

private:
	std::map<std::string, InspectableKey> keys_;
};
