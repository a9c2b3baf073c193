#include "setting-change.h"

#include "text.h"

#include <string_view>

namespace orvadctl
{

namespace
{

/// The lines with a comma between them; the last one may have no end.
std::string joined_lines(std::string_view lines)
{
	std::string text;

	while (!lines.empty()) {
		std::size_t end = lines.find('\n');
		text += (text.empty() ? "" : ", ") +
			escape(lines.substr(0, end));
		lines.remove_prefix(end == lines.npos ? lines.size() : end + 1);
	}
	return text;
}

} // namespace

SettingChange setting_change_from_variant(GVariant *arguments)
{
	SettingChange change;
	const char *source_interface, *source_object;
	const char *target_interface, *target_object, *text;

	g_variant_get(arguments, "(&s&s&s&si&s)", &source_interface,
		      &source_object, &target_interface, &target_object,
		      &change.kind, &text);
	change.source_interface = source_interface;
	change.source_object = source_object;
	change.target_interface = target_interface;
	change.target_object = target_object;
	change.change = text;
	return change;
}

std::string setting_change_text(const SettingChange &change)
{
	return escape(change.target_object) + " " +
	       escape(change.target_interface) + ": " +
	       joined_lines(change.change);
}

void add_setting_change(JsonWriter &json, const SettingChange &change)
{
	json.member("source_interface", change.source_interface);
	json.member("source_object", change.source_object);
	json.member("target_interface", change.target_interface);
	json.member("target_object", change.target_object);
	json.member("kind", change.kind);
	json.member("change", change.change);
}

} // namespace orvadctl
