#include "side-setting.h"

#include "arguments.h"
#include "error.h"

namespace orvadctl
{

bool check_text(const std::string &text, GError **error)
{
	if (g_utf8_validate(text.c_str(), -1, nullptr))
		return true;
	set_usage_error(error, "\"%s\" is no text in UTF-8", text.c_str());
	return false;
}

bool parse_side_setting(const Context &context, const char *value,
			std::optional<SideSetting> &setting, GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;

	setting.reset();
	if (arguments.size() == 1)
		return true;
	auto input = parse_direction(arguments[1]);
	if (!input) {
		set_usage_error(error, "\"%s\" is neither input nor output",
				arguments[1].c_str());
		return false;
	}
	if (arguments.size() < MOST_SIDE_SETTING_ARGUMENTS) {
		set_usage_error(error, "%s is missing", value);
		return false;
	}
	setting = {*input, arguments[2]};
	return check_text(setting->value, error);
}

bool change_side_setting(const Target &target, const SideSetting &setting,
			 SideCall call, GError **error)
{
	if (call(target.daemon.get(), static_cast<guint>(target.port->number),
		 setting.input, setting.value.c_str(), nullptr, error))
		return true;
	explain_port_error(error, *target.port);
	return false;
}

} // namespace orvadctl
