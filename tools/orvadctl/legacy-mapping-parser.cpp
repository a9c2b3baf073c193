#include "legacy-mapping-parser.h"

#include "error.h"
#include "util/glib-ptr.h"

namespace orvadctl
{

namespace
{

enum class Element {
	DOCUMENT,
	MAPPING,
	GROUP,
	PARAMETER,
	PROPERTY,
	TYPE,
	OPTIONS,
	OPTION
};

/// What every parameter needs; a set of bits.
enum Part : unsigned {
	PROPERTY_PART = 1 << 0,
	TYPE_PART = 1 << 1,
	DECLARATION_PART = 1 << 2,
	ACCESS_PART = 1 << 3
};

struct NeededPart {
	Part part;
	const char *description;
};

constexpr NeededPart NEEDED_PARTS[] = {
	{PROPERTY_PART, "property"},
	{TYPE_PART, "type of its property"},
	{DECLARATION_PART, "option \"type\""},
	{ACCESS_PART, "option \"accessControl\""},
};

struct TypeWord {
	const char *word;
	LegacyType type;
};

constexpr TypeWord TYPE_WORDS[] = {
	{"int", LegacyType::INTEGER},
	{"bool", LegacyType::BOOLEAN},
	{"string", LegacyType::TEXT},
};

/// One start tag's attributes, as the markup parser gives them.
struct Attributes {
	const char *element;
	const char **names;
	const char **values;

	/// Null when there is none of that name.
	const char *find(std::string_view name) const
	{
		for (std::size_t i = 0; names[i]; ++i)
			if (name == names[i])
				return values[i];
		return nullptr;
	}
};

class MappingParser
{
public:
	explicit MappingParser(std::vector<LegacyParameter> &parameters)
		: parameters_(parameters)
	{
	}

	bool parse(std::string_view text, GError **error);

private:
	struct KnownElement {
		Element element;
		const char *name;
		Element parent;
		bool (MappingParser::*start)(const Attributes &, GError **);
	};
	static const KnownElement KNOWN_ELEMENTS[];

	static const KnownElement &known(Element element);
	bool start_element(const Attributes &attributes, GError **error);
	bool end_element(GError **error);

	bool start_container(const Attributes &attributes, GError **error);
	bool start_group(const Attributes &attributes, GError **error);
	bool start_parameter(const Attributes &attributes, GError **error);
	bool start_property(const Attributes &attributes, GError **error);
	bool start_type(const Attributes &attributes, GError **error);
	bool start_option(const Attributes &attributes, GError **error);
	bool end_parameter(GError **error);

	bool require(const Attributes &attributes, const char *name,
		     std::string &value, GError **error) const;
	bool check_property(GError **error) const;
	std::string place() const;

	std::vector<LegacyParameter> &parameters_;
	Element element_ = Element::DOCUMENT; ///< The innermost known one.
	/// How many elements inside it, none of them known, are open.
	std::size_t unknown_depth_ = 0;
	LegacyParameter parameter_; ///< The present one.
	unsigned parts_ = 0;        ///< Parts that it has.
};

const MappingParser::KnownElement MappingParser::KNOWN_ELEMENTS[] = {
	{Element::MAPPING, "mapping", Element::DOCUMENT,
	 &MappingParser::start_container},
	{Element::GROUP, "group", Element::MAPPING,
	 &MappingParser::start_group},
	{Element::PARAMETER, "parameter", Element::GROUP,
	 &MappingParser::start_parameter},
	{Element::PROPERTY, "property", Element::PARAMETER,
	 &MappingParser::start_property},
	{Element::TYPE, "type", Element::PROPERTY, &MappingParser::start_type},
	{Element::OPTIONS, "legacyoptions", Element::PARAMETER,
	 &MappingParser::start_container},
	{Element::OPTION, "legacyoption", Element::OPTIONS,
	 &MappingParser::start_option},
};

/// @param element not DOCUMENT, which is none.
const MappingParser::KnownElement &MappingParser::known(Element element)
{
	const KnownElement *known = KNOWN_ELEMENTS;

	while (known->element != element)
		++known;
	return *known;
}

bool MappingParser::start_element(const Attributes &attributes, GError **error)
{
	if (unknown_depth_ > 0) {
		++unknown_depth_;
		return true;
	}
	for (const KnownElement &known : KNOWN_ELEMENTS)
		if (known.parent == element_ &&
		    std::string_view(attributes.element) == known.name) {
			element_ = known.element;
			return (this->*known.start)(attributes, error);
		}
	if (element_ == Element::DOCUMENT) {
		set_failure(error, "it starts with \"%s\", not with \"%s\"",
			    attributes.element, KNOWN_ELEMENTS[0].name);
		return false;
	}
	++unknown_depth_;
	return true;
}

bool MappingParser::end_element(GError **error)
{
	if (unknown_depth_ > 0) {
		--unknown_depth_;
		return true;
	}
	Element ended = element_;
	element_ = known(ended).parent;
	return ended != Element::PARAMETER || end_parameter(error);
}

bool MappingParser::start_container(const Attributes &, GError **)
{
	return true;
}

bool MappingParser::start_group(const Attributes &attributes, GError **error)
{
	parameter_ = {};
	return require(attributes, "name", parameter_.group, error);
}

bool MappingParser::start_parameter(const Attributes &attributes,
				    GError **error)
{
	std::string group = parameter_.group;

	parameter_ = {};
	parameter_.group = group;
	parts_ = 0;
	return require(attributes, "name", parameter_.name, error);
}

bool MappingParser::start_property(const Attributes &attributes, GError **error)
{
	parts_ |= PROPERTY_PART;
	return require(attributes, "dbus", parameter_.service, error) &&
	       require(attributes, "object", parameter_.object, error) &&
	       require(attributes, "interface", parameter_.interface, error) &&
	       require(attributes, "name", parameter_.property, error) &&
	       check_property(error);
}

/// What GDBus would take for a programming error. The object is not checked: a
/// port without a number has one whose path is none, in a mapping that is good.
bool MappingParser::check_property(GError **error) const
{
	const char *service = parameter_.service.c_str();

	if (g_dbus_is_name(service))
		return true;
	set_failure(error, "%s: there can be no \"%s\" on the bus",
		    place().c_str(), service);
	return false;
}

bool MappingParser::start_type(const Attributes &attributes, GError **error)
{
	std::string word;

	if (!require(attributes, "type", word, error))
		return false;
	parts_ |= TYPE_PART;
	for (const TypeWord &known : TYPE_WORDS) {
		if (word != known.word)
			continue;
		parameter_.value_type = known.type;
		return known.type != LegacyType::BOOLEAN ||
		       (require(attributes, "truevalue", parameter_.true_word,
				error) &&
			require(attributes, "falsevalue", parameter_.false_word,
				error));
	}
	set_failure(error, "%s: there is no type \"%s\"", place().c_str(),
		    word.c_str());
	return false;
}

bool MappingParser::start_option(const Attributes &attributes, GError **error)
{
	std::string name;

	if (!require(attributes, "name", name, error))
		return false;
	if (name == "type") {
		parts_ |= DECLARATION_PART;
		return require(attributes, "value", parameter_.type, error);
	}
	if (name == "accessControl") {
		parts_ |= ACCESS_PART;
		return require(attributes, "value", parameter_.access, error);
	}
	return true;
}

bool MappingParser::end_parameter(GError **error)
{
	for (const NeededPart &needed : NEEDED_PARTS) {
		if (parts_ & needed.part)
			continue;
		set_failure(error, "%s has no %s", place().c_str(),
			    needed.description);
		return false;
	}
	parameters_.push_back(parameter_);
	return true;
}

bool MappingParser::require(const Attributes &attributes, const char *name,
			    std::string &value, GError **error) const
{
	const char *found = attributes.find(name);

	if (!found) {
		set_failure(error, "%s: \"%s\" has no \"%s\"", place().c_str(),
			    attributes.element, name);
		return false;
	}
	value = found;
	return true;
}

/// What is being read, for a message.
std::string MappingParser::place() const
{
	if (!parameter_.name.empty())
		return parameter_.label();
	return parameter_.group.empty() ? "the mapping" : parameter_.group;
}

bool MappingParser::parse(std::string_view text, GError **error)
{
	static constexpr GMarkupParser CALLBACKS = {
		[](GMarkupParseContext *, const char *element,
		   const char **names, const char **values, gpointer self,
		   GError **failure) {
			static_cast<MappingParser *>(self)->start_element(
				{element, names, values}, failure);
		},
		[](GMarkupParseContext *, const char *, gpointer self,
		   GError **failure) {
			static_cast<MappingParser *>(self)->end_element(
				failure);
		},
		nullptr, nullptr, nullptr};
	util::MarkupParseContextPtr context(g_markup_parse_context_new(
		&CALLBACKS, G_MARKUP_PREFIX_ERROR_POSITION, this, nullptr));

	return g_markup_parse_context_parse(context.get(), text.data(),
					    static_cast<gssize>(text.size()),
					    error) &&
	       g_markup_parse_context_end_parse(context.get(), error);
}

} // namespace

bool parse_legacy_mapping(std::string_view text,
			  std::vector<LegacyParameter> &parameters,
			  GError **error)
{
	parameters.clear();
	return MappingParser(parameters).parse(text, error);
}

} // namespace orvadctl
