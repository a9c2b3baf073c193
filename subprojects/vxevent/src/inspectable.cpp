#include "inspectable.h"

#include "errors.h"

#include <utility>

using namespace vxevent;

bool Inspectable::add_key(const char *key, EventValueType type, GError **error)
{
	if (!check_name(key, "key", error) || !check_type(type, error))
		return false;
	InspectableKey description = {};
	description.type = type;
	if (!keys_.emplace(key, std::move(description)).second)
		return refuse(error, EVENT_ERROR_INVALID,
			      "The key %s is there already", key);
	return true;
}

InspectableKey *Inspectable::find(const char *key, GError **error)
{
	if (!check_name(key, "key", error))
		return nullptr;
	const auto found = keys_.find(key);
	if (found == keys_.end()) {
		refuse(error, EVENT_ERROR_NO_KEY, "There is no key %s", key);
		return nullptr;
	}
	return &found->second;
}

bool Inspectable::set_value(const char *key, Value value, GError **error)
{
	auto *const description = find(key, error);
	if (description == nullptr)
		return false;
	if (description->type != type_of(value))
		return refuse(error, EVENT_ERROR_TYPE,
			      "The key %s is not of that type", key);
	description->value = std::move(value);
	return true;
}

void Inspectable::clear_values()
{
	for (auto &[name, key] : keys_)
		key.value.reset();
}

Values Inspectable::values() const
{
	Values values;
	for (const auto &[name, key] : keys_)
		if (key.value)
			values.emplace(name, *key.value);
	return values;
}

gboolean inspectable_set_nice_names(Inspectable *inspectable, const gchar *key,
				    const gchar *key_nice_name,
				    const gchar *value_nice_name,
				    GError **error)
{
	if (!check_given(inspectable, "inspectable", error))
		return FALSE;
	auto *const description = inspectable->find(key, error);
	if (description == nullptr)
		return FALSE;
	for (const auto *name : {key_nice_name, value_nice_name})
		if (name != nullptr && !check_text(name, "nice name", error))
			return FALSE;
	if (key_nice_name != nullptr)
		description->nice_name = key_nice_name;
	if (value_nice_name != nullptr)
		description->value_nice_name = value_nice_name;
	return TRUE;
}

gboolean inspectable_set_value_as_string(Inspectable *inspectable,
					 const gchar *key, EventValueType type,
					 const gchar *text, GError **error)
{
	if (!check_given(inspectable, "inspectable", error))
		return FALSE;
	auto value = value_from_text(type, text, error);
	return value && inspectable->set_value(key, std::move(*value), error);
}
