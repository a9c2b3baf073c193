#include "dbus/legacy-mapping.h"

#include "dbus/legacy-object.h"

#include <span>

namespace
{

constexpr const char *kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

/// An option that the older system keeps for a parameter.
struct Option {
	const char *name;
	const char *value;
};

struct Parameter {
	/// Of the parameter, and of the property.
	const char *name;
	const char *interface;
	/// "int", "bool" or "string".
	const char *type;
	Option legacy_type;
	Option access;
	std::span<const Option> further;
};

struct Group {
	const char *name;
	Parameter parameter;
};

constexpr Option kReadable = {"accessControl", "operator:1;admin:1;viewer:1"};
constexpr Option kWritable = {"accessControl", "operator:3;admin:3;viewer:1"};
constexpr Option kCount = {"type", "readonly:int:maxlen=3,min=0,max=100"};
constexpr Option kString = {"type", "string"};
constexpr Option kInt = {"type", "int"};
constexpr Option kLevel = {"type", "enum:closed|Closed, open|Open"};
constexpr Option kDirection = {"type", "enum:input|Input, output|Output"};
constexpr Option kFixedDirection = {"type",
				    "readonly:enum:input|Input, output|Output"};
constexpr Option kTrigOptions[] = {
	{"nicename", "Generate when circuit is..."},
	{"daemon", "qel"},
	{"signal", "1"},
};

constexpr Parameter global_count(const char *name)
{
	return {name, legacy::kPortInterface, "int", kCount, kReadable, {}};
}

constexpr Group kGlobalGroups[] = {
	{"root.Input", global_count("NbrOfInputs")},
	{"root.Output", global_count("NbrOfOutputs")},
	{"root.Properties.IO", global_count("ManualTriggerNbr")},
};

constexpr Parameter kConfigurable = {
	"Configurable", legacy::kPortInterface,
	"bool",         {"type", "readonly:yes_no"},
	kReadable,      {}};
constexpr Parameter kUsage = {
	"Usage", legacy::kPortInterface, "string", kString, kWritable, {}};

constexpr Parameter direction(const Option &legacy_type)
{
	return {"Direction", legacy::kPortInterface,
		"string",    legacy_type,
		kWritable,   {}};
}

constexpr Parameter kPortParameters[] = {
	kConfigurable,
	direction(kFixedDirection),
	kUsage,
};

constexpr Parameter kConfigurablePortParameters[] = {
	kConfigurable,
	direction(kDirection),
	kUsage,
};

constexpr Parameter kInputParameters[] = {
	{"Name", legacy::kInputInterface, "string", kString, kWritable, {}},
	{"Trig", legacy::kInputInterface, "string", kLevel, kWritable,
	 kTrigOptions},
};

constexpr Parameter kOutputParameters[] = {
	{"DelayTime", legacy::kOutputInterface, "int", kInt, kWritable, {}},
	{"Mode",
	 legacy::kOutputInterface,
	 "string",
	 {"type", "enum:bistable|Bistable, monostable|Monostable"},
	 kWritable,
	 {}},
	{"Name", legacy::kOutputInterface, "string", kString, kWritable, {}},
	{"Active", legacy::kOutputInterface, "string", kLevel, kWritable, {}},
	// The blank has always been there.
	{"Button",
	 legacy::kOutputInterface,
	 "string",
	 {"type", "enum: none|None, pulse|Pulse, actinact|Active/Inactive"},
	 kWritable,
	 {}},
	{"PulseTime", legacy::kOutputInterface, "int", kInt, kWritable, {}},
};

/// XML, an element on a line, two blanks a level.
class XmlText
{
public:
	void header()
	{
		text_ += kHeader;
	}
	void open(const std::string &tag)
	{
		line("<" + tag + ">");
		++depth_;
	}
	void close(const std::string &name)
	{
		--depth_;
		line("</" + name + ">");
	}
	void empty(const std::string &tag)
	{
		line("<" + tag + " />");
	}
	/// A start tag with each attribute on a line of its own.
	void open(const std::string &name, std::span<const Option> attributes)
	{
		line("<" + name);
		++depth_;
		for (const Option &attribute : attributes)
			line(pair(attribute) +
			     (&attribute == &attributes.back() ? ">" : ""));
	}
	static std::string pair(const Option &attribute)
	{
		return std::string(attribute.name) + "=\"" + attribute.value +
		       "\"";
	}
	std::string take()
	{
		return std::move(text_);
	}

private:
	void line(const std::string &content)
	{
		text_.append(2 * depth_, ' ').append(content) += '\n';
	}

	std::string text_;
	std::size_t depth_ = 0;
};

std::string named(const char *element, const std::string &name)
{
	return std::string(element) + " name=\"" + name + "\"";
}

// ---- the service registry ----

void add_object(XmlText *xml, int number)
{
	xml->open(named("object", legacy::path_of(number)));
	xml->open("interfaces");
	for (const char *interface :
	     {legacy::kPortInterface, legacy::kInputInterface,
	      legacy::kOutputInterface})
		xml->empty(named("interface", interface) +
			   " emitspropertieschanged=\"true\"");
	xml->close("interfaces");
	xml->close("object");
}

// ---- the mapping ----

void add_type(XmlText *xml, const std::string &type)
{
	xml->empty(
		"type type=\"" + type + "\"" +
		(type == "bool" ? " truevalue=\"yes\" falsevalue=\"no\"" : ""));
}

void add_property(XmlText *xml, int number, const Parameter &parameter)
{
	const std::string object = legacy::path_of(number);
	const Option attributes[] = {
		{"dbus", legacy::kService},
		{"object", object.c_str()},
		{"interface", parameter.interface},
		{"name", parameter.name},
	};
	xml->open("property", attributes);
	add_type(xml, parameter.type);
	xml->close("property");
}

void add_option(XmlText *xml, const Option &option)
{
	xml->empty(named("legacyoption", option.name) + " value=\"" +
		   option.value + "\"");
}

void add_options(XmlText *xml, const Parameter &parameter)
{
	xml->open("legacyoptions");
	add_option(xml, parameter.legacy_type);
	add_option(xml, parameter.access);
	for (const Option &option : parameter.further)
		add_option(xml, option);
	xml->close("legacyoptions");
}

void add_parameter(XmlText *xml, int number, const Parameter &parameter)
{
	xml->open(named("parameter", parameter.name));
	add_property(xml, number, parameter);
	add_options(xml, parameter);
	xml->close("parameter");
}

void add_group(XmlText *xml, const std::string &name, int number,
	       std::span<const Parameter> parameters)
{
	xml->open(named("group", name));
	for (const Parameter &parameter : parameters)
		add_parameter(xml, number, parameter);
	xml->close("group");
}

std::string group_of(const LegacyPort &port)
{
	return "root.IOPort.I" + std::to_string(port.number);
}

void add_port_groups(XmlText *xml, const std::vector<LegacyPort> &ports)
{
	for (const LegacyPort &port : ports) {
		if (port.type == PORT_IO_CTRL)
			add_group(xml, group_of(port), port.number,
				  kConfigurablePortParameters);
		else
			add_group(xml, group_of(port), port.number,
				  kPortParameters);
	}
}

} // namespace

std::string service_registry_text(const std::vector<LegacyPort> &ports)
{
	XmlText xml;
	xml.header();
	xml.open(named("service", legacy::kService));
	xml.open("objects");
	for (const LegacyPort &port : ports)
		add_object(&xml, port.number);
	if (ports.empty())
		add_object(&xml, legacy::kGlobalObject);
	xml.close("objects");
	xml.close("service");
	return xml.take();
}

std::string legacy_mapping_text(const std::vector<LegacyPort> &ports)
{
	XmlText xml;
	xml.open("mapping");
	for (const Group &group : kGlobalGroups)
		add_group(&xml, group.name, legacy::kGlobalObject,
			  {&group.parameter, 1});
	add_port_groups(&xml, ports);
	for (const LegacyPort &port : ports) {
		if (port.type != PORT_OUTPUT)
			add_group(&xml, group_of(port) + ".Input", port.number,
				  kInputParameters);
	}
	for (const LegacyPort &port : ports) {
		if (port.type != PORT_INPUT)
			add_group(&xml, group_of(port) + ".Output", port.number,
				  kOutputParameters);
	}
	xml.close("mapping");
	return xml.take();
}
