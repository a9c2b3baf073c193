#include "bus.h"
#include "command.h"
#include "error.h"
#include "legacy-bus.h"
#include "legacy-mapping-file.h"
#include "util/paths.h"

#include <algorithm>

namespace orvadctl
{

namespace
{

/// What set PARAMETER VALUE has.
constexpr std::size_t SETTING_ARGUMENTS = 3;

using Parameters = std::vector<LegacyParameter>;

bool list(Context &context, const Parameters &parameters, LegacyBus &bus,
	  GError **error)
{
	std::vector<LegacySetting> settings;

	for (const LegacyParameter &parameter : parameters) {
		LegacyValue value;
		if (!bus.fetch(parameter, value, error))
			return false;
		settings.push_back({parameter, std::move(value)});
	}
	if (context.options.json)
		context.output.line(legacy_json(settings));
	else
		context.output.print(
			legacy_text(settings, context.output.colour()));
	return true;
}

const LegacyParameter *find_parameter(const Parameters &parameters,
				      const std::string &label, GError **error)
{
	auto found = std::find_if(parameters.begin(), parameters.end(),
				  [&label](const LegacyParameter &parameter) {
					  return parameter.label() == label;
				  });

	if (found != parameters.end())
		return &*found;
	set_failure(error,
		    "there is no parameter \"%s\"; \"orvadctl legacy\" shows "
		    "the groups and names, to be joined by a dot",
		    label.c_str());
	return nullptr;
}

/// Sets it, and shows the value that it has then.
bool set(Context &context, const Parameters &parameters, LegacyBus &bus,
	 GError **error)
{
	const std::vector<std::string> &arguments = context.options.arguments;
	const LegacyParameter *parameter =
		find_parameter(parameters, arguments[1], error);
	LegacyValue value;

	if (!parameter)
		return false;
	GVariant *written =
		legacy_value_to_variant(*parameter, arguments[2], error);
	if (!written || !bus.set(*parameter, written, error) ||
	    !bus.fetch(*parameter, value, error))
		return false;
	const LegacySetting setting = {*parameter, value};
	context.output.line(context.options.json
				    ? legacy_setting_json(setting)
				    : legacy_setting_text(setting));
	return true;
}

bool check_words(const std::vector<std::string> &arguments, GError **error)
{
	if (arguments.empty() || (arguments.size() == SETTING_ARGUMENTS &&
				  arguments.front() == "set"))
		return true;
	set_usage_error(error, "legacy: takes nothing, or \"set\", PARAMETER "
			       "and VALUE");
	return false;
}

bool run_legacy(Context &context, GError **error)
{
	const Options &options = context.options;
	Parameters parameters;

	if (!check_words(options.arguments, error) ||
	    !read_legacy_mapping(util::kLegacyMappingFile, parameters, error))
		return false;
	ConnectionPtr connection = open_bus(error);
	if (!connection)
		return false;
	LegacyBus bus(connection.get(), options.timeout_ms);
	return options.arguments.empty() ? list(context, parameters, bus, error)
					 : set(context, parameters, bus, error);
}

} // namespace

const Command LEGACY_COMMAND = {
	"legacy",
	"[set PARAMETER VALUE]",
	"list or set the older system's parameters",
	"Lists the parameters that the older configuration system has of the "
	"ports,\n"
	"in the order of its mapping file, with the values that they have on "
	"the bus.\n"
	"VALUE is \"-\" when there is none. TYPE and ACCESS are what that "
	"system is\n"
	"told of them. Fails when it is switched off with\n"
	"--disable_legacy_interface.\n"
	"\n"
	"With \"set\" gives a parameter another value and shows the one that "
	"it has\n"
	"then. PARAMETER is its group and its name with a dot between:\n"
	"root.IOPort.I1.Usage.\n"
	"\n"
	"JSON: {\"parameters\": [{\"group\", \"parameter\", \"value\": number, "
	"bool,\n"
	"text, or null when there is none, \"type\", \"access\", \"object\",\n"
	"\"interface\", \"property\"}]}; when setting, one of these objects.",
	OPTIONS_COMMON,
	0,
	SETTING_ARGUMENTS,
	run_legacy,
};

} // namespace orvadctl
