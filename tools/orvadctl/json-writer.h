#pragma once

#include "util/glib-ptr.h"

#include <json-glib/json-glib.h>

#include <concepts>
#include <string>
#include <vector>

namespace orvadctl
{

/// Builds one JSON document, an object.
///
///     JsonWriter json;
///     json.member("number", 5);
///     json.begin_object("properties");
///     json.member("ioport", true);
///     json.end_object();
///     output.line(json.line());
class JsonWriter
{
public:
	JsonWriter();

	void member(const char *key, const std::string &value);
	void member(const char *key, const char *value);
	void member(const char *key, double value);
	/// true and false, respectively whole numbers. No other type converts:
	/// a pointer must not turn into true.
	template <std::integral T> void member(const char *key, T value)
	{
		add(key);
		if constexpr (std::same_as<T, bool>)
			json_builder_add_boolean_value(builder_.get(), value);
		else
			json_builder_add_int_value(builder_.get(), value);
	}
	void null_member(const char *key);
	void member(const char *key, const std::vector<std::string> &values);

	/// Whatever follows goes into the object, until end_object(). Without a
	/// key: an element of the present array.
	void begin_object(const char *key = nullptr);
	void end_object();
	void begin_array(const char *key);
	void end_array();

	/// Ends the document and returns it, safe for the terminal: in one
	/// line, respectively indented over several; no line break at the end.
	/// The writer is used up.
	std::string line();
	std::string document();

private:
	void add(const char *key);
	std::string finish(bool pretty);

	util::ObjectPtr<JsonBuilder> builder_;
};

} // namespace orvadctl
