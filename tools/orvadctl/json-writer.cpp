#include "json-writer.h"

#include "text.h"

#include <cmath>

namespace orvadctl
{

namespace
{

using NodePtr = util::Handle<JsonNode, json_node_unref>;

} // namespace

JsonWriter::JsonWriter() : builder_(json_builder_new())
{
	json_builder_begin_object(builder_.get());
}

void JsonWriter::add(const char *key)
{
	if (key)
		json_builder_set_member_name(builder_.get(), key);
}

void JsonWriter::member(const char *key, const std::string &value)
{
	member(key, value.c_str());
}

void JsonWriter::member(const char *key, const char *value)
{
	add(key);
	json_builder_add_string_value(builder_.get(), value);
}

void JsonWriter::member(const char *key, double value)
{
	// JSON has no word for infinity or for what is not a number.
	if (!std::isfinite(value))
		return null_member(key);
	add(key);
	json_builder_add_double_value(builder_.get(), value);
}

void JsonWriter::null_member(const char *key)
{
	add(key);
	json_builder_add_null_value(builder_.get());
}

void JsonWriter::member(const char *key, const std::vector<std::string> &values)
{
	begin_array(key);
	for (const std::string &value : values)
		json_builder_add_string_value(builder_.get(), value.c_str());
	end_array();
}

void JsonWriter::begin_object(const char *key)
{
	add(key);
	json_builder_begin_object(builder_.get());
}

void JsonWriter::end_object()
{
	json_builder_end_object(builder_.get());
}

void JsonWriter::begin_array(const char *key)
{
	add(key);
	json_builder_begin_array(builder_.get());
}

void JsonWriter::end_array()
{
	json_builder_end_array(builder_.get());
}

std::string JsonWriter::finish(bool pretty)
{
	json_builder_end_object(builder_.get());
	NodePtr root(json_builder_get_root(builder_.get()));
	util::CharPtr text(json_to_string(root.get(), pretty));

	return escape_json(text.get());
}

std::string JsonWriter::line()
{
	return finish(false);
}

std::string JsonWriter::document()
{
	return finish(true);
}

} // namespace orvadctl
