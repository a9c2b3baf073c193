#include "section.h"

#include "error.h"
#include "numbers.h"
#include "util/glib-ptr.h"

#include <algorithm>

namespace simboard
{

void Section::refuse(const char *key, const std::string &reason)
{
	if (ok_)
		set_usage_error(error_, "%s: [%s] %s: %s", path_, group_, key,
				reason.c_str());
	ok_ = false;
}

void Section::allow_only(std::span<const char *const> keys)
{
	util::StrvPtr found(
		g_key_file_get_keys(file_, group_, nullptr, nullptr));

	for (char **key = found.get(); key && *key; ++key)
		if (std::find(keys.begin(), keys.end(),
			      std::string_view(*key)) == keys.end())
			refuse(*key, "there is no such key");
}

std::string Section::text(const char *key, const std::string &fallback)
{
	util::Error error;

	if (!ok_ || !has(key))
		return fallback;
	util::CharPtr value(g_key_file_get_string(file_, group_, key, &error));
	if (!value) {
		refuse(key, error.message());
		return fallback;
	}
	return value.get();
}

std::string Section::required_text(const char *key)
{
	if (!has(key))
		refuse(key, "is missing");
	return text(key);
}

unsigned Section::number(const char *key, guint64 least, guint64 most,
			 std::optional<unsigned> fallback)
{
	guint64 number = 0;
	util::Error error;

	if (!has(key)) {
		if (!fallback)
			refuse(key, "is missing");
		return fallback.value_or(0);
	}
	std::string value = text(key);
	if (ok_ && !parse_unsigned(value, least, most, number, &error))
		refuse(key, error.message());
	return static_cast<unsigned>(number);
}

bool Section::flag(const char *key, bool fallback)
{
	std::string value = text(key, fallback ? "true" : "false");

	if (value != "true" && value != "false")
		refuse(key, "\"" + value + "\" is not true or false");
	return value == "true";
}

} // namespace simboard
