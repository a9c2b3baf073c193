#include "legacy-parameter.h"

#include "arguments.h"
#include "error.h"
#include "json-writer.h"
#include "table.h"
#include "text.h"

#include <string_view>

namespace orvadctl
{

namespace
{

/// A byte string without the zero that ends it.
std::string_view bytes_of(GVariant *answer)
{
	gsize size = 0;
	auto bytes = static_cast<const char *>(
		g_variant_get_fixed_array(answer, &size, sizeof(char)));
	std::string_view text(bytes, size);

	if (text.ends_with('\0'))
		text.remove_suffix(1);
	return text;
}

/// Leaves value alone when the answer is no text.
void read_text(GVariant *answer, LegacyValue &value)
{
	if (g_variant_is_of_type(answer, G_VARIANT_TYPE_STRING)) {
		value = std::string(g_variant_get_string(answer, nullptr));
	} else if (g_variant_is_of_type(answer, G_VARIANT_TYPE_BYTESTRING)) {
		std::string_view bytes = bytes_of(answer);
		if (g_utf8_validate_len(bytes.data(), bytes.size(), nullptr))
			value = std::string(bytes);
	}
}

/// Leaves value alone when the answer is of another type.
void read_value(LegacyType type, GVariant *answer, LegacyValue &value)
{
	if (type == LegacyType::TEXT)
		read_text(answer, value);
	else if (type == LegacyType::INTEGER &&
		 g_variant_is_of_type(answer, G_VARIANT_TYPE_INT32))
		value = g_variant_get_int32(answer);
	else if (type == LegacyType::BOOLEAN &&
		 g_variant_is_of_type(answer, G_VARIANT_TYPE_BOOLEAN))
		value = g_variant_get_boolean(answer) != FALSE;
}

const char *describe(LegacyType type)
{
	switch (type) {
	case LegacyType::INTEGER:
		return "an integer";
	case LegacyType::BOOLEAN:
		return "a boolean";
	default:
		return "a text";
	}
}

std::string value_text(const LegacySetting &setting)
{
	const LegacyParameter &parameter = setting.parameter;

	if (auto number = std::get_if<gint32>(&setting.value))
		return std::to_string(*number);
	if (auto on = std::get_if<bool>(&setting.value))
		return escape(*on ? parameter.true_word : parameter.false_word);
	if (auto text = std::get_if<std::string>(&setting.value))
		return escape(*text);
	return "-";
}

void add_value(JsonWriter &json, const LegacyValue &value)
{
	constexpr const char *KEY = "value";

	if (auto number = std::get_if<gint32>(&value))
		json.member(KEY, *number);
	else if (auto on = std::get_if<bool>(&value))
		json.member(KEY, *on);
	else if (auto text = std::get_if<std::string>(&value))
		json.member(KEY, *text);
	else
		json.null_member(KEY);
}

void add_setting_members(JsonWriter &json, const LegacySetting &setting)
{
	const LegacyParameter &parameter = setting.parameter;

	json.member("group", parameter.group);
	json.member("parameter", parameter.name);
	add_value(json, setting.value);
	json.member("type", parameter.type);
	json.member("access", parameter.access);
	json.member("object", parameter.object);
	json.member("interface", parameter.interface);
	json.member("property", parameter.property);
}

/// What a person writes for a value of the parameter.
std::string expected_text(const LegacyParameter &parameter)
{
	if (parameter.value_type == LegacyType::INTEGER)
		return "a number of 32 bits";
	return "\"" + parameter.true_word + "\" or \"" + parameter.false_word +
	       "\"";
}

/// Null when the text means no value of the parameter.
GVariant *variant_from_text(const LegacyParameter &parameter,
			    const std::string &text)
{
	auto number = parse_integer(text);

	switch (parameter.value_type) {
	case LegacyType::INTEGER:
		return number ? g_variant_new_int32(*number) : nullptr;
	case LegacyType::BOOLEAN:
		if (text != parameter.true_word && text != parameter.false_word)
			return nullptr;
		return g_variant_new_boolean(text == parameter.true_word);
	default:
		return g_variant_new_bytestring(text.c_str());
	}
}

} // namespace

std::string LegacyParameter::label() const
{
	return group + "." + name;
}

bool legacy_value_from_variant(const LegacyParameter &parameter,
			       GVariant *answer, LegacyValue &value,
			       GError **error)
{
	value = std::monostate();
	if (!answer)
		return true;
	read_value(parameter.value_type, answer, value);
	if (!std::holds_alternative<std::monostate>(value))
		return true;
	set_failure(error, "the value of %s is not %s, but of type \"%s\"",
		    parameter.label().c_str(), describe(parameter.value_type),
		    g_variant_get_type_string(answer));
	return false;
}

GVariant *legacy_value_to_variant(const LegacyParameter &parameter,
				  const std::string &text, GError **error)
{
	GVariant *value = variant_from_text(parameter, text);

	if (!value)
		set_usage_error(error, "%s takes %s, not \"%s\"",
				parameter.label().c_str(),
				expected_text(parameter).c_str(), text.c_str());
	return value;
}

std::string legacy_text(const std::vector<LegacySetting> &settings, bool colour)
{
	Table table;

	table.add_row({Cell("GROUP", Style::HEADING),
		       Cell("PARAMETER", Style::HEADING),
		       Cell("VALUE", Style::HEADING),
		       Cell("TYPE", Style::HEADING),
		       Cell("ACCESS", Style::HEADING)});
	for (const LegacySetting &setting : settings)
		table.add_row({escape(setting.parameter.group),
			       escape(setting.parameter.name),
			       value_text(setting),
			       escape(setting.parameter.type),
			       escape(setting.parameter.access)});
	return table.text(colour);
}

std::string legacy_json(const std::vector<LegacySetting> &settings)
{
	JsonWriter json;

	json.begin_array("parameters");
	for (const LegacySetting &setting : settings) {
		json.begin_object();
		add_setting_members(json, setting);
		json.end_object();
	}
	json.end_array();
	return json.document();
}

std::string legacy_setting_text(const LegacySetting &setting)
{
	return escape(setting.parameter.label()) + ": " + value_text(setting);
}

std::string legacy_setting_json(const LegacySetting &setting)
{
	JsonWriter json;

	add_setting_members(json, setting);
	return json.document();
}

} // namespace orvadctl
