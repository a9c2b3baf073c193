#include "declaration.h"

#include "errors.h"

#include <functional>
#include <utility>

using namespace vxevent;

namespace
{

// A dictionary of that type with what entry_of() makes of each key, a floating
// variant or null for none.
GVariant *
dictionary_of_keys(const EventDeclaration &declaration, const char *type,
		   const std::function<GVariant *(const InspectableKey &)> &of)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE(type));
	for (const auto &[name, key] : declaration.inspectable.keys())
		if (auto *const entry = of(key))
			g_variant_builder_add(&builder, "{s@*}", name.c_str(),
					      entry);
	return g_variant_builder_end(&builder);
}

GVariant *nice_names_of(const InspectableKey &key)
{
	return g_variant_new("(ss)", key.nice_name.c_str(),
			     key.value_nice_name.c_str());
}

GVariant *name_space_of(const InspectableKey &key)
{
	if (key.name_space.empty())
		return nullptr;
	return g_variant_new_string(key.name_space.c_str());
}

GVariant *tags_of(const InspectableKey &key)
{
	if (key.tags.empty())
		return nullptr;
	std::vector<const char *> tags;
	for (const auto &tag : key.tags)
		tags.push_back(tag.c_str());
	return g_variant_new_strv(tags.data(),
				  static_cast<gssize>(tags.size()));
}

InspectableKey *find_key(EventDeclaration *declaration, const char *key,
			 GError **error)
{
	if (!check_given(declaration, "declaration", error))
		return nullptr;
	return declaration->inspectable.find(key, error);
}

} // namespace

GVariant *vxevent::describe(const EventDeclaration &declaration)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
	const auto add = [&builder](const char *name, GVariant *value) {
		g_variant_builder_add(&builder, "{sv}", name, value);
	};
	add("type", g_variant_new_string(declaration.type.c_str()));
	add("property", g_variant_new_string(declaration.property.c_str()));
	add("keys", variant_of(declaration.inspectable.values()));
	add("nice-names",
	    dictionary_of_keys(declaration, "a{s(ss)}", nice_names_of));
	add("namespaces",
	    dictionary_of_keys(declaration, "a{ss}", name_space_of));
	add("tags", dictionary_of_keys(declaration, "a{sas}", tags_of));
	return g_variant_builder_end(&builder);
}

EventDeclaration *event_declaration_new(void)
{
	return new EventDeclaration;
}

void event_declaration_free(EventDeclaration *declaration)
{
	delete declaration;
}

gboolean event_declaration_add_key(EventDeclaration *declaration,
				   const gchar *key, EventValueType type,
				   GError **error)
{
	return check_given(declaration, "declaration", error) &&
	       declaration->inspectable.add_key(key, type, error);
}

gboolean event_declaration_add_key_value(EventDeclaration *declaration,
					 const gchar *key, EventValueType type,
					 gconstpointer value, GError **error)
{
	if (!check_given(declaration, "declaration", error))
		return FALSE;
	// The value is made first: a refused one must not leave a key behind.
	auto made = value_from_pointer(type, value, error);
	return made && declaration->inspectable.add_key(key, type, error) &&
	       declaration->inspectable.set_value(key, std::move(*made), error);
}

gboolean event_declaration_add_key_tag(EventDeclaration *declaration,
				       const gchar *key, const gchar *tag,
				       GError **error)
{
	auto *const found = find_key(declaration, key, error);
	if (found == nullptr || !check_name(tag, "tag", error))
		return FALSE;
	found->tags.emplace_back(tag);
	return TRUE;
}

gboolean event_declaration_set_name_space(EventDeclaration *declaration,
					  const gchar *key,
					  const gchar *name_space,
					  GError **error)
{
	auto *const found = find_key(declaration, key, error);
	if (found == nullptr || !check_text(name_space, "name space", error))
		return FALSE;
	found->name_space = name_space;
	return TRUE;
}

gboolean event_declaration_set_nice_names(EventDeclaration *declaration,
					  const gchar *key,
					  const gchar *key_nice_name,
					  const gchar *value_nice_name,
					  GError **error)
{
	const auto text_or_empty = [](const gchar *text) {
		return text != nullptr ? text : "";
	};
	return inspectable_set_nice_names(
		event_declaration_get_inspectable(declaration), key,
		text_or_empty(key_nice_name), text_or_empty(value_nice_name),
		error);
}

gboolean event_declaration_set_property(EventDeclaration *declaration,
					const gchar *key,
					EventStateGetter getter,
					gpointer user_data, GError **error)
{
	if (find_key(declaration, key, error) == nullptr)
		return FALSE;
	declaration->property = key;
	declaration->getter = getter;
	declaration->user_data = user_data;
	return TRUE;
}

gboolean event_declaration_is_property(const EventDeclaration *declaration)
{
	return declaration != nullptr && !declaration->property.empty();
}

Inspectable *event_declaration_get_inspectable(EventDeclaration *declaration)
{
	return declaration != nullptr ? &declaration->inspectable : nullptr;
}
