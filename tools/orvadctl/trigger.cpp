#include "trigger.h"

#include "arguments.h"
#include "port-output.h"

#include <algorithm>
#include <string_view>

namespace orvadctl
{

namespace
{

constexpr std::string_view NAME_PREFIX = "manualtrigger";
constexpr const char *EVENT_TYPE = "com.vexa.Event.Qel.ManualTrigger";
/// The event's key that holds the channel.
constexpr const char *CHANNEL_KEY = "port";

/// The channel of a manual trigger; nothing for any other port. The daemon
/// writes the channel one way only: "manualtrigger01" is somebody else's.
std::optional<gint32> channel_of(const Port &port)
{
	if (!port.only_virtual() || !port.name.starts_with(NAME_PREFIX))
		return std::nullopt;
	std::string digits = port.name.substr(NAME_PREFIX.size());
	auto channel = parse_port_number(digits);
	if (!channel || *channel < 1 || std::to_string(*channel) != digits)
		return std::nullopt;
	return channel;
}

bool is_event_of(const Declaration &declaration, gint32 channel)
{
	auto key = declaration.keys.find(CHANNEL_KEY);

	return declaration.type == EVENT_TYPE &&
	       key != declaration.keys.end() &&
	       g_variant_is_of_type(key->second.get(), G_VARIANT_TYPE_INT32) &&
	       g_variant_get_int32(key->second.get()) == channel;
}

std::string enabled_text(const std::optional<bool> &enabled)
{
	if (!enabled)
		return "-";
	return *enabled ? "yes" : "no";
}

void add_trigger_members(JsonWriter &json, const Trigger &trigger)
{
	json.member("channel", trigger.channel);
	json.member("number", trigger.number);
	if (trigger.enabled)
		json.member("enabled", *trigger.enabled);
	else
		json.null_member("enabled");
	json.member("active", trigger.active);
}

} // namespace

std::vector<Trigger> triggers_from_ports(const std::vector<Port> &ports)
{
	std::vector<Trigger> triggers;

	for (const Port &port : ports)
		if (auto channel = channel_of(port))
			triggers.push_back({*channel, port.number, port.active,
					    std::nullopt});
	std::stable_sort(triggers.begin(), triggers.end(),
			 [](const Trigger &left, const Trigger &right) {
				 return left.channel < right.channel;
			 });
	return triggers;
}

void set_enabled(std::vector<Trigger> &triggers,
		 const std::vector<LiveDeclaration> &declarations)
{
	for (Trigger &trigger : triggers)
		trigger.enabled =
			std::any_of(declarations.begin(), declarations.end(),
				    [&trigger](const LiveDeclaration &live) {
					    return is_event_of(live.declaration,
							       trigger.channel);
				    });
}

std::string triggers_text(const std::vector<Trigger> &triggers, bool colour)
{
	Table table;

	table.add_row({Cell("CHANNEL", Style::HEADING),
		       Cell("NUMBER", Style::HEADING),
		       Cell("ENABLED", Style::HEADING),
		       Cell("STATE", Style::HEADING)});
	for (const Trigger &trigger : triggers)
		table.add_row({std::to_string(trigger.channel),
			       number_text(trigger.number),
			       enabled_text(trigger.enabled),
			       state_cell(trigger.active)});
	return table.text(colour);
}

std::string triggers_json(const std::vector<Trigger> &triggers)
{
	JsonWriter json;

	json.begin_array("triggers");
	for (const Trigger &trigger : triggers) {
		json.begin_object();
		add_trigger_members(json, trigger);
		json.end_object();
	}
	json.end_array();
	return json.document();
}

} // namespace orvadctl
