#include "event-type.h"

#include "errors.h"
#include "glib-ptr.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace vxevent
{

namespace
{

constexpr auto kEventTypeDirectory = "/usr/share/orvad/event-types";
constexpr auto kTypeGroup = "Event Type";
constexpr std::string_view kKeyGroupPrefix = "Key ";

constexpr std::array<std::pair<std::string_view, EventValueType>, 4> kTypeWords{
	{{"int", EVENT_VALUE_INT},
	 {"bool", EVENT_VALUE_BOOL},
	 {"double", EVENT_VALUE_DOUBLE},
	 {"string", EVENT_VALUE_STRING}}};

class UniqueFd
{
public:
	explicit UniqueFd(int fd) : fd_(fd)
	{
	}
	~UniqueFd()
	{
		if (fd_ >= 0)
			close(fd_);
	}
	UniqueFd(const UniqueFd &) = delete;
	UniqueFd &operator=(const UniqueFd &) = delete;

	int get() const
	{
		return fd_;
	}

private:
	const int fd_;
};

// One group of a definition.
struct Group {
	GKeyFile *file;
	const char *name;
};

// A type's name becomes a file's name.
bool check_type_name(const char *type, GError **error)
{
	if (!check_name(type, "event type", error))
		return false;
	const std::string_view name(type);
	if (name == "." || name == ".." || name.find('/') != name.npos)
		return refuse(error, EVENT_ERROR_INVALID,
			      "\"%s\" is not an event type", type);
	return true;
}

bool read_up_to_limit(int fd, std::string *text)
{
	std::array<char, 4096> block;
	ssize_t length;
	while ((length = read(fd, block.data(), block.size())) > 0 &&
	       text->size() <= kMaxDefinitionSize)
		text->append(block.data(), static_cast<size_t>(length));
	return length == 0 && text->size() <= kMaxDefinitionSize;
}

bool read_definition(const std::string &path, std::string *text, GError **error)
{
	// A FIFO in place of the file must not keep the caller waiting.
	const UniqueFd fd(
		open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
	if (fd.get() < 0)
		return refuse(error, EVENT_ERROR_NO_TYPE, "%s: %s",
			      path.c_str(), g_strerror(errno));
	struct stat attributes;
	if (fstat(fd.get(), &attributes) != 0 || !S_ISREG(attributes.st_mode))
		return refuse(error, EVENT_ERROR_INVALID,
			      "%s is not a regular file", path.c_str());
	if (!read_up_to_limit(fd.get(), text))
		return refuse(error, EVENT_ERROR_INVALID,
			      "%s cannot be read or is too long", path.c_str());
	return true;
}

KeyFilePtr parse_definition(const std::string &text, GError **error)
{
	if (!g_utf8_validate_len(text.data(), text.size(), nullptr)) {
		refuse(error, EVENT_ERROR_INVALID,
		       "The definition is not valid UTF-8");
		return nullptr;
	}
	KeyFilePtr file(g_key_file_new());
	Error cause;
	if (!g_key_file_load_from_data(file.get(), text.data(), text.size(),
				       G_KEY_FILE_NONE, &cause)) {
		refuse(error, EVENT_ERROR_INVALID, "%s", cause.message());
		return nullptr;
	}
	return file;
}

// The functions below fail with EVENT_ERROR_INVALID. A key that is not there
// leaves their result null. What GLib returns may go with an error.

bool read_text(const Group &group, const char *key, CharPtr *text,
	       GError **error)
{
	if (!g_key_file_has_key(group.file, group.name, key, nullptr))
		return true;
	Error cause;
	text->reset(g_key_file_get_string(group.file, group.name, key, &cause));
	return !cause ||
	       refuse(error, EVENT_ERROR_INVALID, "%s", cause.message());
}

bool read_list(const Group &group, const char *key, StrvPtr *list,
	       GError **error)
{
	if (!g_key_file_has_key(group.file, group.name, key, nullptr))
		return true;
	Error cause;
	list->reset(g_key_file_get_string_list(group.file, group.name, key,
					       nullptr, &cause));
	return !cause ||
	       refuse(error, EVENT_ERROR_INVALID, "%s", cause.message());
}

// As read_text(), for a key that must be there.
bool read_required(const Group &group, const char *key, CharPtr *text,
		   GError **error)
{
	if (!read_text(group, key, text, error))
		return false;
	return *text != nullptr ||
	       refuse(error, EVENT_ERROR_INVALID, "The group [%s] has no %s",
		      group.name, key);
}

std::optional<EventValueType> read_value_type(const Group &group,
					      GError **error)
{
	CharPtr word;
	if (!read_required(group, "Type", &word, error))
		return std::nullopt;
	for (const auto &[name, type] : kTypeWords)
		if (name == word.get())
			return type;
	refuse(error, EVENT_ERROR_INVALID, "There is no value type %s",
	       word.get());
	return std::nullopt;
}

bool read_value(const Group &group, EventValueType type, const char *key,
		Inspectable *keys, GError **error)
{
	CharPtr text;
	if (!read_text(group, "Value", &text, error))
		return false;
	return text == nullptr || inspectable_set_value_as_string(
					  keys, key, type, text.get(), error);
}

bool read_names(const Group &group, const char *key,
		EventDeclaration *declaration, GError **error)
{
	CharPtr name_space;
	CharPtr nice_name;
	CharPtr value_nice_name;
	return read_text(group, "Namespace", &name_space, error) &&
	       read_text(group, "KeyNiceName", &nice_name, error) &&
	       read_text(group, "ValueNiceName", &value_nice_name, error) &&
	       (name_space == nullptr ||
		event_declaration_set_name_space(declaration, key,
						 name_space.get(), error)) &&
	       event_declaration_set_nice_names(declaration, key,
						nice_name.get(),
						value_nice_name.get(), error);
}

bool read_tags(const Group &group, const char *key,
	       EventDeclaration *declaration, GError **error)
{
	StrvPtr tags;
	if (!read_list(group, "Tags", &tags, error))
		return false;
	for (auto **tag = tags.get(); tag != nullptr && *tag != nullptr; tag++)
		if (!event_declaration_add_key_tag(declaration, key, *tag,
						   error))
			return false;
	return true;
}

bool read_key(const Group &group, EventDeclaration *declaration, GError **error)
{
	const char *const key = group.name + kKeyGroupPrefix.size();
	const auto type = read_value_type(group, error);
	return type && declaration->inspectable.add_key(key, *type, error) &&
	       read_value(group, *type, key, &declaration->inspectable,
			  error) &&
	       read_names(group, key, declaration, error) &&
	       read_tags(group, key, declaration, error);
}

bool read_keys(GKeyFile *file, EventDeclaration *declaration, GError **error)
{
	const StrvPtr groups(g_key_file_get_groups(file, nullptr));
	for (auto **name = groups.get(); *name != nullptr; name++)
		if (std::string_view(*name).starts_with(kKeyGroupPrefix) &&
		    !read_key({file, *name}, declaration, error))
			return false;
	return true;
}

// The keys must have been read: one of them is what the state is.
bool read_type_group(const Group &group, EventDeclaration *declaration,
		     GError **error)
{
	CharPtr name;
	CharPtr property;
	if (!read_required(group, "Name", &name, error) ||
	    !check_name(name.get(), "name", error) ||
	    !read_text(group, "Property", &property, error))
		return false;
	declaration->type = name.get();
	return property == nullptr ||
	       event_declaration_set_property(declaration, property.get(),
					      nullptr, nullptr, error);
}

// Whatever a definition fails at, it is the definition that is invalid.
bool read_declaration(GKeyFile *file, EventDeclaration *declaration,
		      GError **error)
{
	Error cause;
	if (read_keys(file, declaration, &cause) &&
	    read_type_group({file, kTypeGroup}, declaration, &cause))
		return true;
	return refuse(error, EVENT_ERROR_INVALID, "%s", cause.message());
}

} // namespace

std::unique_ptr<EventDeclaration>
read_event_type(const std::string &directory, const char *type, GError **error)
{
	if (!check_type_name(type, error))
		return nullptr;
	std::string text;
	if (!read_definition(directory + "/" + type + ".conf", &text, error))
		return nullptr;
	auto declaration = std::make_unique<EventDeclaration>();
	const auto file = parse_definition(text, error);
	if (!file || !read_declaration(file.get(), declaration.get(), error)) {
		g_prefix_error(error, "Event type %s: ", type);
		return nullptr;
	}
	return declaration;
}

} // namespace vxevent

EventDeclaration *event_declaration_new_from_type(const gchar *type,
						  GError **error)
{
	return vxevent::read_event_type(vxevent::kEventTypeDirectory, type,
					error)
		.release();
}
