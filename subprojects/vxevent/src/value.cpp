#include "value.h"

#include "errors.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <type_traits>

namespace vxevent
{

namespace
{

// The conversions of the standard library know no locale and skip nothing.
template <typename Number>
std::optional<Value> number_from_text(const char *text, const char *role,
				      GError **error)
{
	const std::string_view view(text);
	const char *const end = view.data() + view.size();
	Number number = {};
	const auto result = std::from_chars(view.data(), end, number);
	if (result.ec == std::errc() && result.ptr == end &&
	    std::isfinite(static_cast<double>(number)))
		return number;
	refuse(error, EVENT_ERROR_INVALID, "\"%s\" is not %s", text, role);
	return std::nullopt;
}

std::optional<Value> bool_from_text(const char *text, GError **error)
{
	const std::string_view view(text);
	if (view == "1" || view == "true")
		return true;
	if (view == "0" || view == "false")
		return false;
	refuse(error, EVENT_ERROR_INVALID, "\"%s\" is not 1 or 0", text);
	return std::nullopt;
}

} // namespace

EventValueType type_of(const Value &value)
{
	static_assert(
		std::is_same_v<
			std::variant_alternative_t<EVENT_VALUE_INT - 1, Value>,
			gint32> &&
		std::is_same_v<std::variant_alternative_t<
				       EVENT_VALUE_STRING - 1, Value>,
			       std::string>);
	return static_cast<EventValueType>(value.index() + EVENT_VALUE_INT);
}

bool check_type(EventValueType type, GError **error)
{
	if (type < EVENT_VALUE_INT || type > EVENT_VALUE_STRING)
		return refuse(error, EVENT_ERROR_INVALID,
			      "There is no value type %d",
			      static_cast<int>(type));
	return true;
}

std::optional<Value> value_from_pointer(EventValueType type,
					gconstpointer source, GError **error)
{
	if (!check_given(source, "value", error))
		return std::nullopt;
	switch (type) {
	case EVENT_VALUE_INT:
		return *static_cast<const gint32 *>(source);
	case EVENT_VALUE_BOOL:
		return *static_cast<const gboolean *>(source) != FALSE;
	case EVENT_VALUE_DOUBLE:
		return *static_cast<const gdouble *>(source);
	case EVENT_VALUE_STRING:
		return value_from_text(type, static_cast<const char *>(source),
				       error);
	}
	check_type(type, error);
	return std::nullopt;
}

std::optional<Value> value_from_text(EventValueType type, const char *text,
				     GError **error)
{
	if (!check_text(text, "value", error))
		return std::nullopt;
	switch (type) {
	case EVENT_VALUE_INT:
		return number_from_text<gint32>(text, "an integer of 32 bits",
						error);
	case EVENT_VALUE_BOOL:
		return bool_from_text(text, error);
	case EVENT_VALUE_DOUBLE:
		return number_from_text<gdouble>(text, "a decimal fraction",
						 error);
	case EVENT_VALUE_STRING:
		return std::string(text);
	}
	check_type(type, error);
	return std::nullopt;
}

GVariant *variant_of(const Value &value)
{
	switch (type_of(value)) {
	case EVENT_VALUE_INT:
		return g_variant_new_int32(std::get<gint32>(value));
	case EVENT_VALUE_BOOL:
		return g_variant_new_boolean(std::get<bool>(value));
	case EVENT_VALUE_DOUBLE:
		return g_variant_new_double(std::get<double>(value));
	case EVENT_VALUE_STRING:
		return g_variant_new_string(
			std::get<std::string>(value).c_str());
	}
	g_return_val_if_reached(nullptr);
}

GVariant *variant_of(const Values &values)
{
	GVariantBuilder builder;
	g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
	for (const auto &[key, value] : values)
		g_variant_builder_add(&builder, "{sv}", key.c_str(),
				      variant_of(value));
	return g_variant_builder_end(&builder);
}

} // namespace vxevent
