#include "port.h"

#include "arguments.h"
#include "error.h"
#include "util/glib-ptr.h"

#include <algorithm>
#include <map>

namespace orvadctl
{

namespace
{

constexpr const char *PORTS_TYPE = "a(sibbbba(sb))";

/// The keys of a port's property table that this client knows.
constexpr const char *PROPERTY_IOPORT = "ioport";
constexpr const char *PROPERTY_VIRTUAL = "virtual";

Port port_from_variant(GVariant *record)
{
	Port port;
	const char *text = nullptr;
	gboolean active, input, configurable, open, value;
	GVariantIter *iter = nullptr;

	g_variant_get(record, "(&sibbbba(sb))", &text, &port.number, &active,
		      &input, &configurable, &open, &iter);
	util::Handle<GVariantIter, g_variant_iter_free> properties(iter);
	port.name = text;
	port.active = active;
	port.input = input;
	port.configurable = configurable;
	port.open = open;
	while (g_variant_iter_next(iter, "(&sb)", &text, &value))
		port.properties.emplace_back(text, value);
	return port;
}

const Port *find_by_number(const std::vector<Port> &ports, gint32 number)
{
	if (const Port *port = reached_port(ports, number))
		return port;
	if (number == NO_NUMBER)
		return nullptr;
	auto found = std::find_if(
		ports.rbegin(), ports.rend(),
		[number](const Port &port) { return port.number == number; });
	return found == ports.rend() ? nullptr : &*found;
}

} // namespace

bool Port::has(const std::string &property) const
{
	return std::find(properties.begin(), properties.end(),
			 std::pair(property, true)) != properties.end();
}

bool Port::real() const
{
	return has(PROPERTY_IOPORT);
}

bool Port::only_virtual() const
{
	return has(PROPERTY_VIRTUAL) && !real();
}

bool ports_from_variant(GVariant *variant, std::vector<Port> &ports,
			GError **error)
{
	if (!g_variant_is_of_type(variant, G_VARIANT_TYPE(PORTS_TYPE))) {
		set_failure(error,
			    "the daemon lists its ports in an unknown form, "
			    "\"%s\"",
			    g_variant_get_type_string(variant));
		return false;
	}
	ports.clear();
	for (gsize i = 0; i < g_variant_n_children(variant); ++i) {
		util::VariantPtr record(g_variant_get_child_value(variant, i));
		ports.push_back(port_from_variant(record.get()));
	}
	return true;
}

std::vector<Port> added_ports(const std::vector<Port> &before,
			      const std::vector<Port> &after)
{
	std::map<std::pair<std::string, gint32>, std::size_t> known;
	std::vector<Port> added;

	for (const Port &port : before)
		++known[{port.name, port.number}];
	for (const Port &port : after) {
		std::size_t &left = known[{port.name, port.number}];
		if (left > 0)
			--left;
		else
			added.push_back(port);
	}
	return added;
}

const Port *reached_port(const std::vector<Port> &ports, gint32 number)
{
	// Among those that can be found by number at all, the last one listed.
	auto found = std::find_if(
		ports.rbegin(), ports.rend(), [number](const Port &port) {
			return port.number == number &&
			       (port.real() || port.only_virtual());
		});

	return found == ports.rend() ? nullptr : &*found;
}

const Port *select_port(const std::vector<Port> &ports, const std::string &text,
			GError **error)
{
	if (auto number = parse_port_number(text))
		if (const Port *port = find_by_number(ports, *number))
			return port;

	auto named = [&text](const Port &port) {
		return !text.empty() && port.name == text;
	};
	auto found = std::find_if(ports.begin(), ports.end(), named);
	if (found == ports.end()) {
		set_failure(error,
			    "there is no port \"%s\"; \"orvadctl list\" shows "
			    "the numbers and names",
			    text.c_str());
		return nullptr;
	}
	if (std::find_if(found + 1, ports.end(), named) != ports.end()) {
		set_failure(error,
			    "several ports are named \"%s\"; give the number",
			    text.c_str());
		return nullptr;
	}
	return &*found;
}

bool check_reachable(const std::vector<Port> &ports, const Port &port,
		     GError **error)
{
	const Port *reached = reached_port(ports, port.number);

	if (reached == &port)
		return true;
	set_failure(error, "%s cannot be reached: %s",
		    port_label(port.number, port.name).c_str(),
		    reached ? "its number leads to another port"
			    : "it is neither a real port nor a virtual one");
	return false;
}

const char *kind_text(const Port &port)
{
	if (port.only_virtual())
		return "virtual";
	if (port.configurable)
		return "configurable";
	return direction_text(port.input);
}

const char *direction_text(bool input)
{
	return input ? "input" : "output";
}

const char *state_text(bool active)
{
	return active ? "active" : "inactive";
}

const char *level_text(bool open)
{
	return open ? "open" : "closed";
}

std::string port_label(gint32 number, const std::string &name)
{
	std::string label = "port " + std::to_string(number);

	return name.empty() ? label : label + " (" + name + ")";
}

} // namespace orvadctl
