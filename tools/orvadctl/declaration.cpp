#include "declaration.h"

#include "error.h"
#include "text.h"

#include <charconv>

namespace orvadctl
{

namespace
{

constexpr const char *TOPIC_PREFIX = "topic";

/// The description's member of that name. False with error set when it has
/// another type; a missing one leaves member empty.
bool find_member(GVariant *description, const char *name, const char *type,
		 util::VariantPtr &member, GError **error)
{
	member.reset(g_variant_lookup_value(description, name, nullptr));
	if (!member || g_variant_is_of_type(member.get(), G_VARIANT_TYPE(type)))
		return true;
	set_failure(error, "\"%s\" of an event's description is \"%s\"", name,
		    g_variant_get_type_string(member.get()));
	return false;
}

bool read_text(GVariant *description, const char *name, std::string &text,
	       GError **error)
{
	util::VariantPtr member;

	if (!find_member(description, name, "s", member, error))
		return false;
	if (member)
		text = g_variant_get_string(member.get(), nullptr);
	return true;
}

bool read_nice_names(GVariant *description, Declaration &declaration,
		     GError **error)
{
	util::VariantPtr member;
	GVariantIter iter;
	const char *key, *key_name, *value_name;

	if (!find_member(description, "nice-names", "a{s(ss)}", member, error))
		return false;
	if (!member)
		return true;
	g_variant_iter_init(&iter, member.get());
	while (g_variant_iter_next(&iter, "{&s(&s&s)}", &key, &key_name,
				   &value_name))
		declaration.nice_names[key] = {key_name, value_name};
	return true;
}

bool read_namespaces(GVariant *description, Declaration &declaration,
		     GError **error)
{
	util::VariantPtr member;
	GVariantIter iter;
	const char *key, *name_space;

	if (!find_member(description, "namespaces", "a{ss}", member, error))
		return false;
	if (!member)
		return true;
	g_variant_iter_init(&iter, member.get());
	while (g_variant_iter_next(&iter, "{&s&s}", &key, &name_space))
		declaration.namespaces[key] = name_space;
	return true;
}

bool read_tags(GVariant *description, Declaration &declaration, GError **error)
{
	util::VariantPtr member;
	GVariantIter iter;
	const char *key, *tag;
	GVariantIter *next_tags;

	if (!find_member(description, "tags", "a{sas}", member, error))
		return false;
	if (!member)
		return true;
	g_variant_iter_init(&iter, member.get());
	while (g_variant_iter_next(&iter, "{&sas}", &key, &next_tags)) {
		util::Handle<GVariantIter, g_variant_iter_free> tags(next_tags);
		while (g_variant_iter_next(tags.get(), "&s", &tag))
			declaration.tags[key].emplace_back(tag);
	}
	return true;
}

std::string double_text(double value)
{
	char buffer[64];
	auto end = std::to_chars(std::begin(buffer), std::end(buffer), value);

	return std::string(buffer, end.ptr);
}

/// A value as it is; a value of a type that events do not have, in GVariant's
/// notation.
std::string plain_text(GVariant *value)
{
	switch (g_variant_classify(value)) {
	case G_VARIANT_CLASS_STRING:
		return g_variant_get_string(value, nullptr);
	case G_VARIANT_CLASS_BOOLEAN:
		return g_variant_get_boolean(value) ? "true" : "false";
	case G_VARIANT_CLASS_INT32:
		return std::to_string(g_variant_get_int32(value));
	case G_VARIANT_CLASS_DOUBLE:
		return double_text(g_variant_get_double(value));
	default:
		return util::CharPtr(g_variant_print(value, FALSE)).get();
	}
}

std::string value_text(GVariant *value)
{
	if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING))
		return quote(plain_text(value));
	return escape(plain_text(value));
}

std::string topic_key(unsigned level)
{
	return TOPIC_PREFIX + std::to_string(level);
}

/// Whether topic_text() has the key; a "topic7" without a "topic6" is shown
/// like any other key.
bool is_topic(const Values &values, const std::string &key)
{
	for (unsigned level = 0; values.contains(topic_key(level)); ++level)
		if (key == topic_key(level))
			return true;
	return false;
}

std::string entry_text(const std::string &key, GVariant *value)
{
	return escape(key) + "=" + value_text(value);
}

void add_value(JsonWriter &json, const std::string &key, GVariant *value)
{
	const char *name = key.c_str();

	switch (g_variant_classify(value)) {
	case G_VARIANT_CLASS_BOOLEAN:
		return json.member(name, g_variant_get_boolean(value) != FALSE);
	case G_VARIANT_CLASS_INT32:
		return json.member(name, g_variant_get_int32(value));
	case G_VARIANT_CLASS_DOUBLE:
		return json.member(name, g_variant_get_double(value));
	default:
		return json.member(name, plain_text(value));
	}
}

void append_word(std::string &text, const std::string &word)
{
	if (!text.empty() && !word.empty())
		text += ' ';
	text += word;
}

} // namespace

bool declaration_from_variant(GVariant *description, Declaration &declaration,
			      GError **error)
{
	util::VariantPtr keys;

	if (!read_text(description, "type", declaration.type, error) ||
	    !read_text(description, "property", declaration.property, error) ||
	    !find_member(description, "keys", "a{sv}", keys, error) ||
	    !read_nice_names(description, declaration, error) ||
	    !read_namespaces(description, declaration, error) ||
	    !read_tags(description, declaration, error))
		return false;
	if (keys)
		declaration.keys = values_from_variant(keys.get());
	return true;
}

Values values_from_variant(GVariant *dictionary)
{
	Values values;
	GVariantIter iter;
	const char *key;
	GVariant *value;

	g_variant_iter_init(&iter, dictionary);
	while (g_variant_iter_next(&iter, "{&sv}", &key, &value))
		values[key] = util::VariantPtr(value);
	return values;
}

std::string topic_text(const Values &values, const Declaration *declaration)
{
	std::string topic;

	for (unsigned level = 0;; ++level) {
		auto value = values.find(topic_key(level));
		if (value == values.end())
			return topic;
		if (level > 0)
			topic += '/';
		if (declaration) {
			auto name = declaration->namespaces.find(value->first);
			if (name != declaration->namespaces.end())
				topic += name->second + ":";
		}
		topic += plain_text(value->second.get());
	}
}

std::string values_text(const Values &values)
{
	std::string text;

	for (const auto &[key, value] : values)
		if (!is_topic(values, key))
			append_word(text, entry_text(key, value.get()));
	return text;
}

std::string declaration_text(const Declaration &declaration)
{
	std::string text;

	for (const auto &[key, value] : declaration.keys) {
		if (is_topic(declaration.keys, key))
			continue;
		append_word(text, entry_text(key, value.get()));
		auto names = declaration.nice_names.find(key);
		if (names != declaration.nice_names.end() &&
		    !names->second.value.empty())
			text += " (" + escape(names->second.value) + ")";
	}
	if (!declaration.property.empty())
		append_word(text,
			    "[state: " + escape(declaration.property) + "]");
	if (!declaration.type.empty())
		append_word(text, "[type: " + escape(declaration.type) + "]");
	return text;
}

void add_values(JsonWriter &json, const Values &values)
{
	json.begin_object("keys");
	for (const auto &[key, value] : values)
		add_value(json, key, value.get());
	json.end_object();
}

void add_declaration(JsonWriter &json, const Declaration &declaration)
{
	json.member("event_type", declaration.type);
	json.member("property", declaration.property);
	add_values(json, declaration.keys);
	json.begin_object("nice_names");
	for (const auto &[key, names] : declaration.nice_names) {
		json.begin_object(key.c_str());
		json.member("key", names.key);
		json.member("value", names.value);
		json.end_object();
	}
	json.end_object();
	json.begin_object("namespaces");
	for (const auto &[key, name_space] : declaration.namespaces)
		json.member(key.c_str(), name_space);
	json.end_object();
	json.begin_object("tags");
	for (const auto &[key, tags] : declaration.tags)
		json.member(key.c_str(), tags);
	json.end_object();
}

} // namespace orvadctl
